#include "qk/tasks/WorkerPool.h"

#include <thread>
#include <utility>

namespace qk {

WorkerPool::~WorkerPool() {
  stop_ = true;
  semaphore_.release(2 * int64_t(threads_.size()));
  for (Thread& thread : threads_)
    if (thread.joinable()) thread.join();
}

void WorkerPool::start(unsigned threads, const RefPtr<TaskList>& urgent, const RefPtr<TaskList>& normal) {
  threads_.reserve(threads_.size() + threads);
  for (unsigned i = 0; i < threads; ++i) {
    Thread thread;
    thread.start(name_ + " " + std::to_string(threads_.size()),
                 [this, urgent, normal] { work(urgent, normal); });
    threads_.push_back(std::move(thread));
  }
}

std::vector<uint32_t> WorkerPool::threadIds() const {
  std::vector<uint32_t> ids;
  for (const Thread& thread : threads_) ids.push_back(thread.id());
  return ids;
}

void WorkerPool::work(RefPtr<TaskList> urgent, RefPtr<TaskList> normal) {
  for (;;) {
    semaphore_.acquire();
    if (stop_) return;
    // Every count stands for a task whose push has ended, so one is there for this thread. It may
    // not be reachable yet: a push that began earlier and hasn't linked its task holds the rest
    // of the list back for a moment.
    MainTask* task;
    while (!(task = urgent->pop()) && !(task = normal->pop())) {
      if (stop_) return;
      std::this_thread::yield();
    }
    task->run();
    task->release();
  }
}

}  // namespace qk
