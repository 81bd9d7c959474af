// Readers of whole files, and the rule that picks one for an IFile.
//
// qk_vfs_make_reader reads what is left of a small file (at most kWholeReadLimit bytes behind the
// position) into one MemBuffer with one read and answers a qk::BufferReader over it; a larger
// file, or a small one when no buffer can be had, gets a FileReaderImpl with a 1 MiB chunk. The
// file stays with the caller either way.
//
// FileReaderWrapper passes every operation to the reader it owns. FileReader also owns the file and
// releases it when it ends, before the inner reader goes; FileReaderAdapter is the form for a file
// that is someone else's. Both are ended by release() (delete). Threads: one thread at a time.
#pragma once

#include <cstdint>

#include "qk/Reader.h"
#include "qkvfs/IFile.h"

namespace qkvfs {

inline constexpr uint64_t kWholeReadLimit = 0x100000;

class FileReaderWrapper : public qk::Reader {
 public:
  explicit FileReaderWrapper(qk::ReaderPtr<> inner) : inner_(std::move(inner)) {}

  size_t read(void* dst, size_t n) override { return inner_->read(dst, n); }
  size_t skip(size_t n) override { return inner_->skip(n); }
  size_t remaining() override { return inner_->remaining(); }
  const char* name() override { return inner_->name(); }
  qk::ByteSpan chunk() override { return inner_->chunk(); }

  qk::Reader* inner() const { return inner_.get(); }

 private:
  qk::ReaderPtr<> inner_;
};

class FileReader final : public FileReaderWrapper {
 public:
  // Takes over `file` (not null), read from its position by the rule above.
  explicit FileReader(IFile* file);
  ~FileReader() override;

 private:
  IFile* file_;
};

class FileReaderAdapter final : public FileReaderWrapper {
 public:
  // Reads `file` from its position by the rule above; the file must outlive the adapter.
  explicit FileReaderAdapter(IFile& file);
};

}  // namespace qkvfs

// The reader for what is left of `file`, by the rule above.
qk::ReaderPtr<> qk_vfs_make_reader(qkvfs::IFile& file);
