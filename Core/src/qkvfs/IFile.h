// IFile: a file with a position, as the file system hands it out: a real file, an entry of an
// archive, or bytes in memory.
//
// Ownership: whoever opened the file ends it with release(), which returns a pooled kind to its
// pool; a kind that isn't pooled says who ends it. Failures are logged by the file and answered
// with 0, false or null; the object stays usable. Threads: one thread at a time.
//
// `name` is the path that names the file; `vfs_name` a second name whose meaning the kind gives.
// The metadata operations answer false when the file has no value of that type under the key; a
// string stays valid as long as the file's driver.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qk/IBuffer.h"

namespace qkvfs {

class IFile {
 public:
  // The operations in the order of their slots.
  virtual ~IFile() = default;
  virtual const char* name() = 0;
  virtual const char* vfs_name() = 0;
  // Bytes read or written; fewer than `size` at the end of the file or on failure.
  virtual size_t read(void* buffer, size_t size) = 0;
  virtual size_t write(const void* buffer, size_t size) = 0;
  virtual uint64_t tell() = 0;
  virtual bool seek(uint64_t position) = 0;
  virtual uint64_t size() = 0;
  // The whole content as a shared buffer; the position is kept.
  virtual qk::RefPtr<qk::IBuffer> buffer() = 0;
  virtual void release() = 0;
  virtual bool meta_string(const char* key, const char*& out) = 0;
  virtual bool meta_float(const char* key, double& out) = 0;
  virtual bool meta_integer(const char* key, int64_t& out) = 0;
  // Moves the position by `count` from where it is.
  virtual bool skip(int64_t count) = 0;

 protected:
  IFile() = default;
  IFile(const IFile&) = delete;
  IFile& operator=(const IFile&) = delete;
};

}  // namespace qkvfs
