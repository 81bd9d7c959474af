#include "log/LogListeners.h"

#include <atomic>
#include <mutex>

#include "qk/CriticalSection.h"
#include "qk_log.h"

namespace qk {

namespace {

constexpr size_t kListeners = 16;

struct Listener {
  qk_log_listener function;
  void* user;
};

// Made on first use and never destroyed: a line may be logged from any file's static initialiser
// or destructor.
qk::CriticalSection& listeners_lock() {
  static qk::CriticalSection* const lock = new qk::CriticalSection;
  return *lock;
}
Listener listeners[kListeners];
std::atomic<size_t> listener_count{0};
thread_local bool in_listener = false;

}  // namespace

void call_log_listeners(const LogRecord& record, int64_t wall_clock_base) {
  if (listener_count.load() == 0 || in_listener) return;
  std::lock_guard<qk::CriticalSection> hold(listeners_lock());
  in_listener = true;
  qk_log_listener_message message{record.time,           record.module.c_str(),
                                  record.text.c_str(),   record.level,
                                  record.reserved,       double(wall_clock_base) + record.time,
                                  record.thread.c_str(), nullptr};
  for (size_t i = 0; i < listener_count.load(); ++i) {
    message.user = listeners[i].user;
    listeners[i].function(message);
  }
  in_listener = false;
}

}  // namespace qk

bool qk_log_add_listener(qk_log_listener listener, void* user) {
  if (!listener) return false;
  std::lock_guard<qk::CriticalSection> hold(qk::listeners_lock());
  const size_t count = qk::listener_count.load();
  if (count == qk::kListeners) return false;
  qk::listeners[count] = {listener, user};
  qk::listener_count = count + 1;
  return true;
}

bool qk_log_remove_listener(qk_log_listener listener, void* user) {
  std::lock_guard<qk::CriticalSection> hold(qk::listeners_lock());
  const size_t count = qk::listener_count.load();
  for (size_t i = 0; i < count; ++i) {
    if (qk::listeners[i].function != listener || qk::listeners[i].user != user) continue;
    for (size_t j = i + 1; j < count; ++j) qk::listeners[j - 1] = qk::listeners[j];
    qk::listener_count = count - 1;
    return true;
  }
  return false;
}
