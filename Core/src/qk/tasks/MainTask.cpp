#include "qk/tasks/MainTask.h"

#include <exception>
#include <new>
#include <utility>

#include "qk_log.h"

namespace qk {

ObjectPool MainTask::pool{"Core/src/qk/tasks/MainTask", sizeof(MainTask), 1024};

MainTask::MainTask(std::function<void()> work, SharedGroupBarrier* group)
    : group_(group), work_(std::move(work)) {
  if (group) group->add();
}

MainTask* MainTask::create(std::function<void()> work, SharedGroupBarrier* group) {
  void* item = pool.acquire();
  return item ? new (item) MainTask(std::move(work), group) : nullptr;
}

void MainTask::run() noexcept {
  try {
    if (work_) work_();
  } catch (const std::exception& error) {
    qk_log(QKCORESTATIC, log::ERROR, "Task failed: %s", error.what());
  } catch (...) {
    qk_log(QKCORESTATIC, log::ERROR, "Task failed: %s", "an exception of unknown type");
  }
}

void MainTask::release() {
  if (SharedGroupBarrier* group = group_.get()) group->done();
  work_ = nullptr;
  group_.reset();  // an atomic exchange; the last reference destroys the barrier
  this->~MainTask();
  pool.release(this);
}

}  // namespace qk
