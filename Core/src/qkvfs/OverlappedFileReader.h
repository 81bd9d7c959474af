// OverlappedFileReader: a qk::Reader over the byte range [start, end) of an OverlappedFile.
//
// Every file access is one positional read, so readers of one file on many threads don't disturb
// each other. chunk() reads min(end - position, chunk size) into the chunk buffer and shows what
// arrived; read() takes buffered bytes first and then reads straight into the caller's memory,
// never more than the range holds; skip() takes buffered bytes and then moves the position,
// without file access. A read below kSmallRead makes the chunk buffer (empty) if there is none.
// remaining() is the buffered bytes plus end minus position.
//
// Ownership: the OverlappedFile isn't owned, must be open (see ensure_open) and must outlive the
// reader. Threads: one thread at a time per reader.
#pragma once

#include <cstdint>

#include "qk/Reader.h"
#include "qkvfs/ChunkBuffer.h"
#include "qkvfs/OverlappedFile.h"

namespace qkvfs {

class OverlappedFileReader final : public qk::Reader {
 public:
  static constexpr size_t kSmallRead = 0x20000;

  // `end` below `start` counts as an empty range.
  OverlappedFileReader(OverlappedFile* file, uint64_t start, uint64_t end, size_t chunk_size)
      : file_(file), position_(start), start_(start), end_(end < start ? start : end), chunk_(chunk_size) {}

  size_t read(void* dst, size_t n) override;
  size_t skip(size_t n) override;
  size_t remaining() override { return chunk_.buffered() + size_t(end_ - position_); }
  const char* name() override { return file_->path(); }
  qk::ByteSpan chunk() override;

  uint64_t start() const { return start_; }

 private:
  uint64_t left() const { return end_ - position_; }

  OverlappedFile* file_;
  uint64_t position_;
  uint64_t start_;
  uint64_t end_;
  ChunkBuffer chunk_;
};

}  // namespace qkvfs
