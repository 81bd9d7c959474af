#include "log/LogQueue.h"

#include "qk/SpinPause.h"

namespace qk {

namespace {
LogLink* locked() noexcept { return reinterpret_cast<LogLink*>(~uintptr_t(0)); }
}  // namespace

LogLink* LogQueue::lock_tail() noexcept {
  for (;;) {
    LogLink* tail = tail_.load(std::memory_order_acquire);
    if (tail == locked()) {
      qk_spin_pause();  // the holder has two stores left
      continue;
    }
    if (tail_.compare_exchange_weak(tail, locked(), std::memory_order_acquire,
                                    std::memory_order_relaxed))
      return tail;
  }
}

void LogQueue::push(LogItem* item) noexcept {
  item->next.store(&stub_, std::memory_order_relaxed);
  LogLink* tail = lock_tail();
  tail->next.store(item, std::memory_order_release);
  tail_.store(item, std::memory_order_release);
}

LogItem* LogQueue::pop() noexcept {
  for (;;) {
    LogLink* first = stub_.next.load(std::memory_order_acquire);
    if (first == &stub_) return nullptr;
    LogLink* after = first->next.load(std::memory_order_acquire);
    if (after != &stub_) {  // not the last: no producer touches the stub's link now
      stub_.next.store(after, std::memory_order_release);
      return static_cast<LogItem*>(first);
    }
    // Perhaps the last: only with the tail locked is it safe to unlink it.
    LogLink* tail = lock_tail();
    if (tail == first) {
      stub_.next.store(&stub_, std::memory_order_relaxed);
      tail_.store(&stub_, std::memory_order_release);
      return static_cast<LogItem*>(first);
    }
    tail_.store(tail, std::memory_order_release);  // a producer linked behind it: look again
  }
}

}  // namespace qk
