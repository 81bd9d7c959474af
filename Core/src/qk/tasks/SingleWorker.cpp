#include "qk/CriticalSection.h"
#include "qk/tasks/SingleWorker.h"

namespace qk {

void SingleWorker::start(SyncTaskQueue& queue) {
  running_ = true;
  thread_.start(name_, [this, &queue] { work(queue); });
}

void SingleWorker::stop() {
  running_ = false;
  semaphore_.release();
  if (thread_.joinable()) thread_.join();
  std::lock_guard<qk::CriticalSection> hold(lock_);
  decltype(buffer_)().swap(buffer_);
}

void SingleWorker::work(SyncTaskQueue& queue) {
  while (running_) {
    semaphore_.acquire();
    if (!running_) return;
    std::lock_guard<qk::CriticalSection> hold(lock_);
    while (MainTask* task = queue.pop()) buffer_.push_back(task);
    for (MainTask* task : buffer_) {
      task->run();
      task->release();
    }
    buffer_.clear();
  }
}

}  // namespace qk
