// FileReaderImpl: a qk::Reader over an IFile, read forward with a read-ahead chunk.
//
// chunk() fills the chunk buffer with one read of the chunk size and shows what arrived; read()
// and skip() consume buffered bytes first and then go straight to the file: a read never fills the
// chunk buffer. A read below kSmallRead makes the chunk buffer (empty) if there is none; reads of
// kSmallRead bytes and more never allocate it. skip() beyond the buffer seeks the file, so a skip
// past the end of the file counts as done.
//
// remaining() is the buffered bytes plus the file's size less its position (0 once the position
// is past the end). Ownership: the file isn't owned and must outlive the reader (FileReader owns
// both). Threads: one thread at a time.
#pragma once

#include "qk/Reader.h"
#include "qkvfs/ChunkBuffer.h"
#include "qkvfs/IFile.h"

namespace qkvfs {

class FileReaderImpl final : public qk::Reader {
 public:
  static constexpr size_t kSmallRead = 0x20000;
  static constexpr size_t kDefaultChunkSize = 0x100000;

  explicit FileReaderImpl(IFile* file, size_t chunk_size = kDefaultChunkSize)
      : file_(file), chunk_(chunk_size) {}

  size_t read(void* dst, size_t n) override;
  size_t skip(size_t n) override;
  size_t remaining() override;
  const char* name() override { return file_->name(); }
  qk::ByteSpan chunk() override;

 private:
  IFile* file_;
  ChunkBuffer chunk_;
};

}  // namespace qkvfs
