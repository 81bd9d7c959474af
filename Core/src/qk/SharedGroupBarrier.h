// SharedGroupBarrier: the barrier of a group of tasks, shared by counted references.
//
// A group counts its tasks that haven't been released yet (`pending`): each task made with the
// group adds one and holds a reference; the release of the task, run or not, takes its one away
// and wakes the waiters when none is left. wait() blocks until then. Destroying the barrier blocks
// the same way, so the group's last reference, wherever it is dropped, is a barrier too.
//
// Barriers come from the pool "Core/src/qk/SharedGroupBarrier" (2048 per chunk) through create and
// go back into it at their last release; they are held by RefPtr<SharedGroupBarrier>. All
// operations are safe from any thread. A task must not wait on its own group: it would wait for
// itself.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "qk/CriticalSection.h"
#include "qk/ObjectPool.h"
#include "qk/RefPtr.h"

namespace qk {

class SharedGroupBarrier {
 public:
  static ObjectPool pool;

  // A barrier with nothing pending. Null only when the pool ran out of memory and the report
  // returned.
  static RefPtr<SharedGroupBarrier> create();

  void addRef() noexcept { references.fetch_add(1, std::memory_order_relaxed); }
  // The last release waits until nothing is pending, then gives the barrier back to its pool.
  void release();

  // Waits until nothing is pending.
  void wait();
  uint64_t pendingCount();

 private:
  friend class MainTask;
  // A task of the group is made; one is released (the last one wakes the waiters). The task holds
  // a reference across both, so the barrier outlives the wake-up.
  void add();
  void done();

  SharedGroupBarrier() = default;
  ~SharedGroupBarrier();

  std::atomic<uint32_t> references{0};
  qk::CriticalSection lock;
  std::condition_variable_any finished;
  uint64_t pending = 0;
};

}  // namespace qk
