// The single worker of the task system: one thread that runs the tasks of one queue in the order
// they were pushed.
//
// It holds its thread, a name, a semaphore, a `running` flag, a lock and a buffer. Each release of
// the semaphore wakes the thread, which moves every task it can reach from the queue into the
// buffer and runs and releases them in order, under the lock. stop clears `running`, releases the
// semaphore once, joins the thread (which finishes the batch in hand) and frees the buffer; tasks
// still in the queue stay there for the queue's owner.
//
// start and stop belong to the owner; wake may be called from any thread. The queue must outlive
// the worker's thread.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "qk/CriticalSection.h"
#include "qk/Semaphore.h"
#include "qk/SyncTaskQueue.h"
#include "qk/Thread.h"
#include "qk_memory.h"

namespace qk {

class SingleWorker {
 public:
  explicit SingleWorker(std::string name) : name_(std::move(name)) {}
  ~SingleWorker() { stop(); }
  SingleWorker(const SingleWorker&) = delete;
  SingleWorker& operator=(const SingleWorker&) = delete;

  // Starts the thread over `queue`. Throws std::system_error when it can't be started.
  void start(SyncTaskQueue& queue);
  // A task was pushed on the queue.
  void wake() { semaphore_.release(); }
  void stop();

  uint32_t threadId() const { return thread_.id(); }

 private:
  void work(SyncTaskQueue& queue);

  Thread thread_;
  std::string name_;
  Semaphore semaphore_;
  std::atomic<bool> running_{false};
  qk::CriticalSection lock_;
  std::vector<MainTask*, allocator<MainTask*>> buffer_;
};

}  // namespace qk
