// The task system: two worker pools, a single serial worker and a queue for the main thread, for
// an embedder of the core. The plug-in never starts it (no thread of the library is ever created
// there), so in the plug-in its singleton stays null and its end at exit does nothing.
//
// An embedder starts it once (qk_tasks_start) and may stop it (qk_tasks_stop); a system still
// running at process exit is stopped then, before the core's object pools go. Work is a
// std::function, wrapped in a MainTask and counted in a SharedGroupBarrier when one is given:
//   qk_tasks_run         the worker pool ("qk worker N"), urgent tasks before normal ones
//   qk_tasks_run_io      the second pool ("qk io N"), for work that blocks on reads
//   qk_tasks_run_serial  the single worker ("qk serial"), one task after the other, in order
//   qk_tasks_post_main   the main thread's queue, run by qk_tasks_run_main on the thread that pumps it
// Each answers false, and makes nothing, when the system isn't started (or the task pool ran out
// of memory and the report returned).
//
// The singleton's members, in order: a vector (the ids of its threads), a lock, the worker pool,
// its pair of task lists (urgent, normal; counted references shared with the pool's threads), the
// second pool, its pair, two SyncTaskQueues (the main thread's, the serial worker's) and the
// single worker. Its end: take and release the lock once, to let a caller still inside leave;
// stop the single worker; destroy the queues, the second first, each warning once and releasing
// its tasks unrun if any are left; then the pairs and the pools in the opposite order of the
// members: each pool sets `stop`, releases its semaphore twice its thread count and joins its
// threads, and the lists' last owner releases what they still hold, with the same warning. Group
// barriers of tasks released unrun reach 0 all the same and wake their waiters.
//
// Submitting may happen from any thread, also from tasks; start, stop and qk_tasks_run_main from
// the embedder's main thread. Stop the system only when no other thread submits any more: a caller
// that arrives after its end finds it gone, one racing with the end is not protected against.
#pragma once

#include <cstddef>
#include <functional>

#include "qk/SharedGroupBarrier.h"

namespace qk {

struct TaskSystemOptions {
  unsigned workers = 0;  // 0: one fewer than the processors, at least 1
  unsigned ioWorkers = 2;
};

enum class TaskPriority { Normal, Urgent };

// False if the system runs already. Throws std::system_error when a thread can't be started (the
// system then isn't started).
bool qk_tasks_start(const TaskSystemOptions& options = {});
// Ends the system as told above; nothing when it isn't started.
void qk_tasks_stop();
bool qk_tasks_started();

bool qk_tasks_run(std::function<void()> work, SharedGroupBarrier* group = nullptr,
                  TaskPriority priority = TaskPriority::Normal);
bool qk_tasks_run_io(std::function<void()> work, SharedGroupBarrier* group = nullptr);
bool qk_tasks_run_serial(std::function<void()> work, SharedGroupBarrier* group = nullptr);
bool qk_tasks_post_main(std::function<void()> work, SharedGroupBarrier* group = nullptr);
// Runs the main thread's tasks queued so far; answers how many ran.
size_t qk_tasks_run_main();

// True on a thread of the task system.
bool qk_tasks_is_task_thread();

}  // namespace qk
