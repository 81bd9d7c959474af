// The worker pools of the task system: threads that run the tasks of shared task lists.
//
// A TaskList is a SyncTaskQueue that many threads may take from (one at a time, under a lock of
// its own), shared by counted references: the task system holds one per list and every worker
// thread of the pool holds its own, so a list outlives whoever drops it first. A list destroyed
// with tasks still on it warns and releases them unrun, as its queue does.
//
// A WorkerPool holds a semaphore that counts the tasks pushed for it, its threads, a `stop` flag
// and a name. Each thread (named "NAME N") waits on the semaphore, takes the first task of its
// lists, the urgent list before the normal one, runs and releases it. Destroying the pool sets
// `stop`, releases the semaphore twice the number of threads, and joins every joinable thread; a
// thread that wakes to `stop` ends without taking another task. Tasks still on the lists stay
// there for the lists' last owner to release.
//
// push and wake may be called from any thread; start and the destructor by the owner.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "qk/CriticalSection.h"
#include "qk/RefPtr.h"
#include "qk/Semaphore.h"
#include "qk/SyncTaskQueue.h"
#include "qk/Thread.h"

namespace qk {

class TaskList {
 public:
  static RefPtr<TaskList> create() { return RefPtr<TaskList>(new TaskList()); }

  void addRef() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

  void push(MainTask* task) noexcept { queue_.push(task); }
  MainTask* pop() {
    std::lock_guard<qk::CriticalSection> hold(consumers_);
    return queue_.pop();
  }

 private:
  TaskList() = default;
  ~TaskList() = default;

  std::atomic<uint32_t> references_{0};
  qk::CriticalSection consumers_;
  SyncTaskQueue queue_;
};

class WorkerPool {
 public:
  explicit WorkerPool(std::string name) : name_(std::move(name)) {}
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Starts `threads` threads over `urgent` and `normal`. Throws std::system_error when a thread
  // can't be started (those already started stay, and stop with the pool).
  void start(unsigned threads, const RefPtr<TaskList>& urgent, const RefPtr<TaskList>& normal);
  // A task was pushed for the pool: one thread wakes for it.
  void wake() { semaphore_.release(); }

  const std::string& name() const { return name_; }
  std::vector<uint32_t> threadIds() const;

 private:
  void work(RefPtr<TaskList> urgent, RefPtr<TaskList> normal);

  Semaphore semaphore_;
  std::vector<Thread> threads_;
  std::atomic<bool> stop_{false};
  std::string name_;
};

}  // namespace qk
