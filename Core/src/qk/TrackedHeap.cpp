#include "qk/TrackedHeap.h"

#include <cstdlib>

#include "platform/qk_platform.h"
#include "qk_memory.h"

namespace qk {

namespace {
// Constant-initialised: its counters work in every static initialiser, and nothing destroys it.
TrackedHeap core_heap{"QKCORESTATIC"};
}  // namespace

TrackedHeap& qk_core_heap() { return core_heap; }

void* TrackedHeap::allocate(size_t size) {
  allocations += 1;
  bytes += int64_t(size);
  return qk_malloc(size);
}

void* TrackedHeap::reallocate(void* pointer, size_t size) {
  bytes -= int64_t(qk_platform_block_size(pointer));
  void* block = qk_realloc(pointer, size);
  bytes += int64_t(size);
  return block;
}

void TrackedHeap::release(void* pointer) {
  allocations -= 1;
  bytes -= int64_t(qk_platform_block_size(pointer));
  std::free(pointer);
}

void* qk_tracked_heap_lua_alloc(void* heap, void* pointer, size_t, size_t new_size) {
  TrackedHeap& tracked = *static_cast<TrackedHeap*>(heap);
  if (new_size == 0) {
    tracked.release(pointer);
    return nullptr;
  }
  return pointer ? tracked.reallocate(pointer, new_size) : tracked.allocate(new_size);
}

}  // namespace qk
