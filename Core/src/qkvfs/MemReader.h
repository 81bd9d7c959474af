// MemReader: an IFile over the bytes of a shared buffer, in place of a small file that was read
// whole, so that whoever reads it holds no handle.
//
// Reads copy from the buffer; writes take nothing; a seek past the end stops at the end. The name
// is kept in the object, cut to 256 bytes; `vfs_name` is empty and there is no metadata.
// Ownership: not pooled. release() does nothing: the owner ends the object through its destructor.
// The buffer is held by reference for the object's life. Threads: one thread at a time.
#pragma once

#include <cstdint>
#include <string_view>

#include "qkvfs/IFile.h"

namespace qkvfs {

class MemReader : public IFile {
 public:
  static constexpr size_t kMaxName = 256;

  MemReader(qk::RefPtr<qk::IBuffer> buffer, std::string_view name);

  const char* name() override { return name_; }
  const char* vfs_name() override { return ""; }
  size_t read(void* buffer, size_t size) override;
  size_t write(const void*, size_t) override { return 0; }
  uint64_t tell() override { return position_; }
  // A position beyond the end moves to the end; always true.
  bool seek(uint64_t position) override;
  uint64_t size() override { return length(); }
  qk::RefPtr<qk::IBuffer> buffer() override { return buffer_; }
  void release() override {}
  bool meta_string(const char*, const char*&) override { return false; }
  bool meta_float(const char*, double&) override { return false; }
  bool meta_integer(const char*, int64_t&) override { return false; }
  // False, without moving, when fewer bytes remain than asked (or, backwards, lie before).
  bool skip(int64_t count) override;

 private:
  uint64_t length() const { return buffer_ ? buffer_->size() : 0; }

  qk::RefPtr<qk::IBuffer> buffer_;
  uint64_t position_ = 0;
  uint16_t name_length_;
  char name_[kMaxName + 1];
};

}  // namespace qkvfs
