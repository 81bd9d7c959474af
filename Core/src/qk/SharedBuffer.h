// SharedBuffer: an IBuffer whose bytes sit right behind the object, in the same allocation.
//
// Made once by its producer, filled through mutableData() before it is shared, then read-only.
// The last release frees object and bytes together.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "qk/IBuffer.h"

namespace qk {

class SharedBuffer final : public RefCountedImpl<IBuffer> {
 public:
  // A buffer of `size` bytes, not initialised. Out of memory ends in the out-of-memory report, for
  // "qk_malloc" and then for "SharedBuffer"; should both return, the answer is null.
  static RefPtr<SharedBuffer> create(size_t size);

  const void* data() const override { return data_; }
  size_t size() const override { return size_; }
  void* mutableData() { return data_; }

  // Live SharedBuffers of the process and their bytes, object headers included.
  static std::atomic<int64_t> live_count;
  static std::atomic<int64_t> live_bytes;

 protected:
  void destroy() override;

 private:
  explicit SharedBuffer(size_t size);
  ~SharedBuffer() override = default;

  unsigned char* data_;
  size_t size_;
};

}  // namespace qk
