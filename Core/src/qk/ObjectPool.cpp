#include "qk/ObjectPool.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "qk_memory.h"

namespace qk {

namespace {
constexpr uint32_t kLinkSize = sizeof(void*);
}

ObjectPool::ObjectPool(const char* name, uint32_t item_size, uint32_t items_per_chunk,
                       uint32_t alignment_mask)
    : alignment_mask_(alignment_mask | (kLinkSize - 1)),
      item_size_((std::max(item_size, kLinkSize) + alignment_mask_) & ~alignment_mask_),
      items_per_chunk_(items_per_chunk ? items_per_chunk : 1),
      name_(name) {
  reserve(0);
}

ObjectPool::~ObjectPool() {
  while (void* item = free_items_.pop()) std::memcpy(item, &kSentinel, sizeof kSentinel);
  while (void* chunk = chunks_.pop()) std::free(chunk);
  chunks_made_ = 0;
  items_in_use_ = 0;
}

unsigned char* ObjectPool::make_chunk() {
  const size_t size = size_t(alignment_mask_) + size_t(item_size_) * items_per_chunk_ + 9;
  auto* chunk = static_cast<unsigned char*>(qk_malloc(size));
  if (!chunk) return nullptr;
  chunks_.push(chunk);
  chunks_made_ += 1;
  const uintptr_t first = (reinterpret_cast<uintptr_t>(chunk) + kLinkSize + alignment_mask_) &
                          ~uintptr_t(alignment_mask_);
  return chunk + (first - reinterpret_cast<uintptr_t>(chunk));
}

void* ObjectPool::acquire() {
  if (void* item = free_items_.pop()) {
    items_in_use_ += 1;
    return item;
  }
  unsigned char* first = make_chunk();
  if (!first) return nullptr;
  // Pushed from the last item down, so that the next acquire takes the second item.
  for (uint32_t i = items_per_chunk_ - 1; i >= 1; --i) free_items_.push(first + size_t(i) * item_size_);
  items_in_use_ += 1;
  return first;
}

void ObjectPool::release(void* item) {
  free_items_.push(item);
  items_in_use_ -= 1;
}

void ObjectPool::reserve(uint32_t chunks) {
  for (uint32_t c = 0; c < chunks; ++c) {
    unsigned char* first = make_chunk();
    if (!first) return;
    for (uint32_t i = items_per_chunk_; i-- > 0;) free_items_.push(first + size_t(i) * item_size_);
  }
}

}  // namespace qk
