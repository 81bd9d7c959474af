// The core's heap: malloc and realloc with the one reaction to exhausted memory.
//
// Out of memory never reaches a caller as a null pointer that it must check: every failed request
// ends in qk_out_of_memory, which reports and stops at a debugger trap. Safe from any thread.
#pragma once

#include <cstddef>
#include <cstdlib>

// Reports a failed allocation of `size` bytes by `function` ("qk_malloc", "qk_realloc"). The first
// report of the process logs at ALERT "Out of memory in %s for %lld bytes." and stops at a debugger
// trap, which ends the process when no debugger is attached; every later report logs at ERROR
// "More out of memory in %s for %lld bytes." and returns.
void qk_out_of_memory(const char* function, long long size);

inline void* qk_malloc(size_t size) {
  void* p = std::malloc(size);
  if (!p) qk_out_of_memory("qk_malloc", static_cast<long long>(size));
  return p;
}

inline void* qk_realloc(void* pointer, size_t size) {
  void* p = std::realloc(pointer, size);
  if (!p) qk_out_of_memory("qk_realloc", static_cast<long long>(size));
  return p;
}

namespace qk {

// The core's allocator for the standard containers: qk_malloc and free. Stateless; all instances
// are equal. No alignment beyond malloc's.
template <class T>
struct allocator {
  using value_type = T;

  allocator() noexcept = default;
  template <class U>
  allocator(const allocator<U>&) noexcept {}

  T* allocate(size_t n) { return static_cast<T*>(qk_malloc(n * sizeof(T))); }
  void deallocate(T* p, size_t) noexcept { std::free(p); }

  template <class U>
  bool operator==(const allocator<U>&) const noexcept { return true; }
  template <class U>
  bool operator!=(const allocator<U>&) const noexcept { return false; }
};

}  // namespace qk
