// MappedFileBuffer: an IBuffer that is a read-only view of a whole file mapped into memory.
//
// It owns the open file and its mapping from create() on, and the last release unmaps the view,
// closes the mapping, closes the file, in that order, and gives the object back to
// MappedFileBuffer::pool. A view that can't be made leaves an empty buffer (size 0, null data)
// whose handles are already closed, so a failed mapping reads as an empty file.
// Threads: the bytes may be read from any thread; counting is atomic.
#pragma once

#include <cstddef>

#include "platform/qk_fs.h"
#include "qk/IBuffer.h"
#include "qk/ObjectPool.h"

namespace qkvfs {

class MappedFileBuffer final : public qk::RefCountedImpl<qk::IBuffer> {
 public:
  // Takes over `file` and `mapping` and maps the first `size` bytes (nothing for 0). Null only when
  // the pool can't give an item; the handles are closed then too.
  static qk::RefPtr<qk::IBuffer> create(qk_platform_file file, qk_platform_mapping mapping, size_t size);

  const void* data() const override { return data_; }
  size_t size() const override { return size_; }

  static qk::ObjectPool pool;

 protected:
  void destroy() override;

 private:
  MappedFileBuffer(qk_platform_file file, qk_platform_mapping mapping, size_t size)
      : size_(size), file_(file), mapping_(mapping) {}
  ~MappedFileBuffer() override;
  // Closes mapping, then file, each if valid.
  static void close_handles(qk_platform_file& file, qk_platform_mapping& mapping);

  const void* data_ = nullptr;
  size_t size_;
  qk_platform_file file_;
  qk_platform_mapping mapping_;
};

}  // namespace qkvfs
