// CriticalSection: the core's lock, the system's critical section (a recursive pthread mutex on
// POSIX, CRITICAL_SECTION on Windows).
//
// One thread holds it at a time; the holder may take it again, and leaves it as often as it took
// it. It meets the standard's Lockable requirements, so std::lock_guard and std::unique_lock take
// it, and std::condition_variable_any waits on it (a wait gives it up once: never wait while
// holding it more than once). Made by its constructor, with no allocation, so that a static object
// may hold one; not copied or moved.
#pragma once

#include "platform/qk_sync.h"

namespace qk {

class CriticalSection {
 public:
  CriticalSection() { qk_platform_lock_init(lock_); }
  ~CriticalSection() { qk_platform_lock_destroy(lock_); }
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void lock() { qk_platform_lock_enter(lock_); }
  bool try_lock() { return qk_platform_lock_try_enter(lock_); }
  void unlock() { qk_platform_lock_leave(lock_); }

 private:
  qk_platform_lock lock_;
};

}  // namespace qk
