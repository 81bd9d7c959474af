// Semaphore: a counting semaphore with a count and a count of waiters.
//
// try_acquire and release never lock while nobody waits; acquire blocks on a condition variable
// until a count is free. Safe from any thread; the object must outlive every waiter.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace qk {

class Semaphore {
 public:
  explicit Semaphore(int64_t count = 0) noexcept : count_(count) {}

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
    std::unique_lock<std::mutex> lock(mutex_);
    waiters_ += 1;
    // The waiter is counted before the count is read again, and release adds to the count before
    // it reads the waiters: one of the two sees the other, so no wake-up is lost.
    while (!try_acquire()) wakeup_.wait(lock);
    waiters_ -= 1;
  }

  void release(int64_t n = 1) {
    count_ += n;
    if (waiters_.load() > 0) {
      std::lock_guard<std::mutex> lock(mutex_);
      wakeup_.notify_all();
    }
  }

  // Sets the count; only while no thread waits or releases.
  void reset(int64_t count) noexcept { count_ = count; }
  int64_t count() const noexcept { return count_.load(); }

 private:
  std::atomic<int64_t> count_;
  std::atomic<int64_t> waiters_{0};
  std::mutex mutex_;
  std::condition_variable wakeup_;
};

}  // namespace qk
