#include "qk/SharedBuffer.h"

#include <cstdlib>
#include <new>

#include "qk_memory.h"

namespace qk {

std::atomic<int64_t> SharedBuffer::live_count{0};
std::atomic<int64_t> SharedBuffer::live_bytes{0};

SharedBuffer::SharedBuffer(size_t size)
    : data_(reinterpret_cast<unsigned char*>(this) + sizeof(SharedBuffer)), size_(size) {}

RefPtr<SharedBuffer> SharedBuffer::create(size_t size) {
  const size_t total = sizeof(SharedBuffer) + size;
  void* block = qk_malloc(total);
  if (!block) {  // the out-of-memory report returned
    qk_out_of_memory("SharedBuffer", static_cast<long long>(total));
    return nullptr;
  }
  live_count.fetch_add(1, std::memory_order_relaxed);
  live_bytes.fetch_add(int64_t(total), std::memory_order_relaxed);
  return RefPtr<SharedBuffer>(new (block) SharedBuffer(size));
}

void SharedBuffer::destroy() {
  live_count.fetch_sub(1, std::memory_order_relaxed);
  live_bytes.fetch_sub(int64_t(sizeof(SharedBuffer) + size_), std::memory_order_relaxed);
  this->~SharedBuffer();
  std::free(this);
}

}  // namespace qk
