// PackedFile: the IFile of an entry inside an archive, which the zip driver's ZFile and the archive
// driver's QKPKFile share.
//
// The entry's content is loaded whole on the first read() or buffer(), by the driver's own routine
// (load_content), and kept as a shared buffer; reads then copy from it. A load that fails leaves
// the file without content, so read() answers 0 and buffer() null, and the next call tries again.
// Writes take nothing. seek() refuses a position beyond the size; skip() refuses a move past the
// end or before the start. The metadata operations look the key up in the entry's map (false
// with no map, a missing key or another type).
//
// Ownership: pooled; release() in the final class ends the object and returns it to its pool. The
// metadata map and the open counter belong to the driver, which outlives the file. The file
// counts in the open counter from construction to destruction. Threads: one at a time.
#pragma once

#include <atomic>
#include <cstdint>

#include "qk/MemBuffer.h"
#include "qk/Metadata.h"
#include "qkvfs/IFile.h"

namespace qkvfs {

class PackedFile : public IFile {
 public:
  size_t read(void* buffer, size_t size) override;
  size_t write(const void*, size_t) override { return 0; }
  uint64_t tell() override { return position_; }
  bool seek(uint64_t position) override;
  uint64_t size() override { return size_; }
  qk::RefPtr<qk::IBuffer> buffer() override;
  bool meta_string(const char* key, const char*& out) override;
  bool meta_float(const char* key, double& out) override;
  bool meta_integer(const char* key, int64_t& out) override;
  bool skip(int64_t count) override;

 protected:
  PackedFile(uint64_t size, const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count);
  ~PackedFile() override;

  // Reads the entry into `empty`, a MemBuffer of size 0, or null when none could be made (the
  // routine then only reports that). Answers the content, or null after logging why.
  virtual qk::RefPtr<qk::IBuffer> load_content(qk::RefPtr<qk::MemBuffer> empty) = 0;

 private:
  // The content, loaded on first need; false when there is none.
  bool loaded();

  uint64_t size_;
  uint64_t position_ = 0;
  qk::RefPtr<qk::IBuffer> content_;
  std::atomic<uint64_t>* open_count_;
  const qk::MetadataMap* metadata_;
};

}  // namespace qkvfs
