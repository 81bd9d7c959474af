#include "qk/CriticalSection.h"
#include "qk/tasks/TaskSystem.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "platform/qk_threads.h"
#include "qk/tasks/SingleWorker.h"
#include "qk/tasks/WorkerPool.h"

namespace qk {

namespace {

using ListPair = std::pair<RefPtr<TaskList>, RefPtr<TaskList>>;  // urgent, normal

class TaskSystem {
 public:
  explicit TaskSystem(const TaskSystemOptions& options);
  ~TaskSystem();

  bool push(WorkerPool& pool, const ListPair& lists, TaskPriority priority, std::function<void()> work,
            SharedGroupBarrier* group);
  bool pushSerial(std::function<void()> work, SharedGroupBarrier* group);
  bool postMain(std::function<void()> work, SharedGroupBarrier* group);
  size_t runMain();
  bool isTaskThread();

  WorkerPool& workers() { return workers_; }
  const ListPair& workerLists() const { return workerLists_; }
  WorkerPool& ioWorkers() { return ioWorkers_; }
  const ListPair& ioLists() const { return ioLists_; }

 private:
  std::vector<uint32_t> threadIds_;
  qk::CriticalSection lock_;
  WorkerPool workers_{"qk worker"};
  ListPair workerLists_{TaskList::create(), TaskList::create()};
  WorkerPool ioWorkers_{"qk io"};
  ListPair ioLists_{TaskList::create(), TaskList::create()};
  SyncTaskQueue mainQueue_;
  SyncTaskQueue serialQueue_;
  SingleWorker serial_{"qk serial"};
};

std::atomic<TaskSystem*> instance{nullptr};

TaskSystem::TaskSystem(const TaskSystemOptions& options) {
  unsigned workers = options.workers;
  if (workers == 0) workers = std::max(1u, std::thread::hardware_concurrency()) - 1;
  workers_.start(std::max(1u, workers), workerLists_.first, workerLists_.second);
  ioWorkers_.start(options.ioWorkers, ioLists_.first, ioLists_.second);
  serial_.start(serialQueue_);
  threadIds_ = workers_.threadIds();
  for (uint32_t id : ioWorkers_.threadIds()) threadIds_.push_back(id);
  threadIds_.push_back(serial_.threadId());
}

TaskSystem::~TaskSystem() {
  { std::lock_guard<qk::CriticalSection> leave(lock_); }
  serial_.stop();
  // The members go in their opposite order: the queues (second first), then the pairs and pools.
}

bool TaskSystem::push(WorkerPool& pool, const ListPair& lists, TaskPriority priority,
                      std::function<void()> work, SharedGroupBarrier* group) {
  MainTask* task = MainTask::create(std::move(work), group);
  if (!task) return false;
  std::lock_guard<qk::CriticalSection> hold(lock_);
  (priority == TaskPriority::Urgent ? lists.first : lists.second)->push(task);
  pool.wake();
  return true;
}

bool TaskSystem::pushSerial(std::function<void()> work, SharedGroupBarrier* group) {
  MainTask* task = MainTask::create(std::move(work), group);
  if (!task) return false;
  std::lock_guard<qk::CriticalSection> hold(lock_);
  serialQueue_.push(task);
  serial_.wake();
  return true;
}

bool TaskSystem::postMain(std::function<void()> work, SharedGroupBarrier* group) {
  MainTask* task = MainTask::create(std::move(work), group);
  if (!task) return false;
  std::lock_guard<qk::CriticalSection> hold(lock_);
  mainQueue_.push(task);
  return true;
}

size_t TaskSystem::runMain() {
  size_t ran = 0;
  while (MainTask* task = mainQueue_.pop()) {
    task->run();
    task->release();
    ++ran;
  }
  return ran;
}

bool TaskSystem::isTaskThread() {
  const uint32_t self = qk_platform_thread_id();
  std::lock_guard<qk::CriticalSection> hold(lock_);
  return std::find(threadIds_.begin(), threadIds_.end(), self) != threadIds_.end();
}

// At exit, before the static objects made before the first start (the task and barrier pools, the
// log) are destroyed.
void stop_at_exit() { qk_tasks_stop(); }

}  // namespace

bool qk_tasks_start(const TaskSystemOptions& options) {
  static std::once_flag registered;
  if (instance.load()) return false;
  std::call_once(registered, [] { std::atexit(stop_at_exit); });
  auto* system = new TaskSystem(options);
  TaskSystem* none = nullptr;
  if (!instance.compare_exchange_strong(none, system)) {
    delete system;
    return false;
  }
  return true;
}

void qk_tasks_stop() { delete instance.exchange(nullptr); }

bool qk_tasks_started() { return instance.load() != nullptr; }

bool qk_tasks_run(std::function<void()> work, SharedGroupBarrier* group, TaskPriority priority) {
  TaskSystem* system = instance.load();
  return system && system->push(system->workers(), system->workerLists(), priority, std::move(work), group);
}

bool qk_tasks_run_io(std::function<void()> work, SharedGroupBarrier* group) {
  TaskSystem* system = instance.load();
  return system &&
         system->push(system->ioWorkers(), system->ioLists(), TaskPriority::Normal, std::move(work), group);
}

bool qk_tasks_run_serial(std::function<void()> work, SharedGroupBarrier* group) {
  TaskSystem* system = instance.load();
  return system && system->pushSerial(std::move(work), group);
}

bool qk_tasks_post_main(std::function<void()> work, SharedGroupBarrier* group) {
  TaskSystem* system = instance.load();
  return system && system->postMain(std::move(work), group);
}

size_t qk_tasks_run_main() {
  TaskSystem* system = instance.load();
  return system ? system->runMain() : 0;
}

bool qk_tasks_is_task_thread() {
  TaskSystem* system = instance.load();
  return system && system->isTaskThread();
}

}  // namespace qk
