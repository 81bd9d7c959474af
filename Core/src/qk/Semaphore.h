// Semaphore: a counting semaphore with a count and a count of waiters.
//
// try_acquire and release never lock while nobody waits; acquire blocks on a condition variable
// until a count is free. Safe from any thread; the object must outlive every waiter.
//
// The core is C++17, which has no waiting on an atomic's address (std::atomic::wait is C++20), so
// waiters sleep on a condition variable, and only while nobody waits is the count alone enough.
// As with a standard counting semaphore, the count lies between 0 and kMax: a negative start, a
// negative release or a count that would pass kMax is a broken program, and the process ends at
// once (qk_platform_fast_fail(5)).
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <limits>
#include <mutex>

#include "platform/qk_threads.h"
#include "qk/CriticalSection.h"

namespace qk {

class Semaphore {
 public:
  static constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
  static constexpr unsigned kInvalidArgument = 5;

  explicit Semaphore(int64_t count = 0) noexcept : count_(count) {
    if (count < 0) qk_platform_fast_fail(kInvalidArgument);
  }

  // Takes one count if one is free.
  bool try_acquire() noexcept {
    int64_t count = count_.load();
    while (count > 0)
      if (count_.compare_exchange_weak(count, count - 1)) return true;
    return false;
  }

  // Takes one count, waiting until one is free.
  void acquire() {
    if (try_acquire()) return;
    std::unique_lock<qk::CriticalSection> lock(lock_);
    waiters_ += 1;
    // The waiter is counted before the count is read again, and release adds to the count before
    // it reads the waiters: one of the two sees the other, so no wake-up is lost.
    while (!try_acquire()) wakeup_.wait(lock);
    waiters_ -= 1;
  }

  void release(int64_t n = 1) {
    if (n < 0) qk_platform_fast_fail(kInvalidArgument);
    if (count_.fetch_add(n) > kMax - n) qk_platform_fast_fail(kInvalidArgument);
    if (waiters_.load() > 0) {
      std::lock_guard<qk::CriticalSection> lock(lock_);
      wakeup_.notify_all();
    }
  }

  // Sets the count; only while no thread waits or releases.
  void reset(int64_t count) noexcept {
    if (count < 0) qk_platform_fast_fail(kInvalidArgument);
    count_ = count;
  }
  int64_t count() const noexcept { return count_.load(); }

 private:
  std::atomic<int64_t> count_;
  std::atomic<int64_t> waiters_{0};
  qk::CriticalSection lock_;
  std::condition_variable_any wakeup_;
};

}  // namespace qk
