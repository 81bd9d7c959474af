// qk::SyncTaskQueue: an intrusive first-in first-out list of tasks, many producers, one consumer.
//
// The list hangs off a sentinel link: the sentinel's `next` is the first task, or the sentinel
// itself when the list is empty, and the last task's `next` is the sentinel. `tail`, a cache line
// further on so that producers and the consumer don't share a line, is the last task or the
// sentinel. A push exchanges `tail` and then links the old last element to the new task, so for a
// moment a task can be in the list without being reachable; a pop that meets that moment either
// sees the list as empty or waits (spins) for the link.
//
// The queue owns the tasks it holds. Destroying it with tasks still on board logs once, at WARNING
// under QKCORESTATIC, "qk::SyncTaskQueue is destructed with pending tasks on board", and releases
// every task without running it (their groups are told).
//
// push may be called from any thread; pop, empty and the destructor by one consumer at a time.
#pragma once

#include <atomic>

#include "qk/tasks/MainTask.h"

namespace qk {

class SyncTaskQueue {
 public:
  static constexpr size_t kCacheLine = 64;

  SyncTaskQueue() noexcept;
  ~SyncTaskQueue();
  SyncTaskQueue(const SyncTaskQueue&) = delete;
  SyncTaskQueue& operator=(const SyncTaskQueue&) = delete;

  // Appends `task`; the queue owns it from here on.
  void push(MainTask* task) noexcept;
  // Takes the first task, or null when the list is empty.
  MainTask* pop() noexcept;
  bool empty() const noexcept { return sentinel.next.load(std::memory_order_acquire) == &sentinel; }

 private:
  alignas(kCacheLine) TaskLink sentinel;
  alignas(kCacheLine) std::atomic<TaskLink*> tail;
};

}  // namespace qk
