#include "qk/SyncTaskQueue.h"

#include "qk_log.h"

namespace qk {

namespace {

void relax() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

}  // namespace

SyncTaskQueue::SyncTaskQueue() noexcept : tail(&sentinel) { sentinel.next.store(&sentinel); }

SyncTaskQueue::~SyncTaskQueue() {
  bool warned = false;
  while (MainTask* task = pop()) {
    if (!warned) {
      qk_log(QKCORESTATIC, log::WARNING, "qk::SyncTaskQueue is destructed with pending tasks on board");
      warned = true;
    }
    task->release();
  }
}

void SyncTaskQueue::push(MainTask* task) noexcept {
  task->next.store(&sentinel, std::memory_order_relaxed);
  TaskLink* last = tail.exchange(task, std::memory_order_acq_rel);
  last->next.store(task, std::memory_order_release);
}

MainTask* SyncTaskQueue::pop() noexcept {
  TaskLink* first = sentinel.next.load(std::memory_order_acquire);
  if (first == &sentinel) return nullptr;
  TaskLink* next = first->next.load(std::memory_order_acquire);
  if (next == &sentinel) {
    // Maybe the last task: the list ends at the sentinel again, unless a producer has taken the
    // tail already and is about to link its task behind this one.
    TaskLink* expected = first;
    if (!tail.compare_exchange_strong(expected, &sentinel, std::memory_order_acq_rel)) {
      while ((next = first->next.load(std::memory_order_acquire)) == &sentinel) relax();
    }
  }
  // A producer that found the tail at the sentinel links its task there itself; then this fails,
  // and the list already starts with that task.
  TaskLink* expected = first;
  sentinel.next.compare_exchange_strong(expected, next, std::memory_order_acq_rel);
  return static_cast<MainTask*>(first);
}

}  // namespace qk
