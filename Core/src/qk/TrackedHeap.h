// TrackedHeap: the C runtime's heap with counters of the blocks and bytes a component holds.
//
// Each component has one heap, made at start-up with its name; the core's is qk_core_heap(),
// "QKCORESTATIC", which is ready before any initialiser of the core runs and is never destroyed.
// `bytes` rises by the sizes asked for and falls by the sizes the allocator reports for the
// released blocks, so it drifts upwards by the allocator's rounding; `allocations` is exact.
// A failed request ends in qk_out_of_memory, as everywhere in the core; the counters stay raised.
// All operations are safe from any thread (sequentially consistent counters).
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace qk {

struct TrackedHeap {
  const char* name;
  std::atomic<int64_t> allocations{0};  // blocks in use
  std::atomic<int64_t> bytes{0};        // bytes in use, as described above

  constexpr explicit TrackedHeap(const char* heap_name) noexcept : name(heap_name) {}
  TrackedHeap(const TrackedHeap&) = delete;
  TrackedHeap& operator=(const TrackedHeap&) = delete;

  // One more block of `size` bytes, counted before the request.
  void* allocate(size_t size);
  // Resizes `pointer` (null allocates) without changing `allocations`.
  void* reallocate(void* pointer, size_t size);
  // Frees `pointer` (null is allowed and counts as one block fewer).
  void release(void* pointer);
};

// The core's own heap.
TrackedHeap& qk_core_heap();

// A Lua allocator (lua_Alloc) over the tracked heap passed as `heap`: a new size of 0 releases, a
// null pointer allocates, anything else reallocates.
void* qk_tracked_heap_lua_alloc(void* heap, void* pointer, size_t old_size, size_t new_size);

}  // namespace qk
