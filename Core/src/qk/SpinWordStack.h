// SpinWordStack: an intrusive stack of raw nodes whose head word is its own spin lock.
//
// The head word holds the top node, 0 when the stack is empty, and all ones while a pop or a push
// is between its two steps. A node's link is its first pointer-sized word, so a node must be at
// least that large and suitably aligned; the stack owns no memory. Lock-free for its users in the
// sense that no system lock is taken: a thread that finds the head locked spins for the two stores
// that the holder has left. Safe from any thread.
//
// Used by the object pools, the log's record pools and the zstd context pool.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>

#include "qk/SpinPause.h"

namespace qk {

class SpinWordStack {
 public:
  static constexpr uintptr_t kLocked = ~uintptr_t(0);

  // Takes the top node, or null when the stack is empty.
  void* pop() noexcept {
    for (;;) {
      uintptr_t top = lockedFree();
      if (top == 0) return nullptr;
      if (head_.compare_exchange_weak(top, kLocked, std::memory_order_acquire, std::memory_order_relaxed)) {
        head_.store(linkOf(top), std::memory_order_release);
        return reinterpret_cast<void*>(top);
      }
    }
  }

  // Puts `node` on top.
  void push(void* node) noexcept {
    const uintptr_t item = reinterpret_cast<uintptr_t>(node);
    for (;;) {
      uintptr_t top = lockedFree();
      std::memcpy(node, &top, sizeof top);
      if (head_.compare_exchange_weak(top, item, std::memory_order_release, std::memory_order_relaxed))
        return;
    }
  }

  bool empty() const noexcept { return head_.load(std::memory_order_acquire) == 0; }

 private:
  // The head once it isn't locked.
  uintptr_t lockedFree() const noexcept {
    uintptr_t top;
    while ((top = head_.load(std::memory_order_acquire)) == kLocked) qk_spin_pause();
    return top;
  }

  static uintptr_t linkOf(uintptr_t node) noexcept {
    uintptr_t next;
    std::memcpy(&next, reinterpret_cast<const void*>(node), sizeof next);
    return next;
  }

  std::atomic<uintptr_t> head_{0};
};

}  // namespace qk
