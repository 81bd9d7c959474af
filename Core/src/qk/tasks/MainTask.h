// MainTask: one piece of work queued in a task queue, with the group it belongs to.
//
// Tasks come from the pool "Core/src/qk/tasks/MainTask" (1024 per chunk) through create and go
// back at release, whether they ran or not; they are never deleted. A task is owned by the queue
// that holds it, then by whoever took it out, who runs it (once at most) and releases it.
//
// Releasing a task: if it has a group, the group's pending count goes down by one (waking the
// group's waiters at 0); the work is destroyed; the task's reference to the group is taken out by
// an atomic exchange and dropped, and the group's last reference destroys the barrier (after its
// wait) and returns it to its pool; then the task goes back to its pool.
//
// A task's work that throws is caught by run, which logs the exception's text at ERROR under
// QKCORESTATIC ("Task failed: %s"), so that a worker thread lives on and the group is released.
#pragma once

#include <atomic>
#include <functional>

#include "qk/ObjectPool.h"
#include "qk/RefPtr.h"
#include "qk/SharedGroupBarrier.h"

namespace qk {

// The link of an intrusive task queue; the queue's sentinel is one of these.
struct TaskLink {
  std::atomic<TaskLink*> next{nullptr};
};

class MainTask : public TaskLink {
 public:
  static ObjectPool pool;

  // A task doing `work`, counted in `group` (may be null). Null only when the pool ran out of
  // memory and the report returned.
  static MainTask* create(std::function<void()> work, SharedGroupBarrier* group = nullptr);

  // Runs the work; an exception it throws is logged.
  void run() noexcept;
  // Back to the pool, the group told (see above).
  void release();

  SharedGroupBarrier* group() const noexcept { return group_.get(); }

 private:
  MainTask(std::function<void()> work, SharedGroupBarrier* group);

  RefPtr<SharedGroupBarrier> group_;
  std::function<void()> work_;
};

}  // namespace qk
