#include "qk/Thread.h"

#include <atomic>
#include <memory>
#include <system_error>
#include <utility>

#include "FixedString.h"
#include "qk/Event.h"

namespace qk {

namespace {

std::atomic<IThreadObserver*> observer{nullptr};

// Lives on the starting thread's stack until the new thread has taken its work and told its id.
struct Start {
  std::function<void()> work;
  uint32_t id = 0;
  Event started{false};
};

void thread_main(void* argument) {
  auto& start = *static_cast<Start*>(argument);
  std::function<void()> work = std::move(start.work);
  start.id = qk_platform_thread_id();
  start.started.set();  // `start` is gone from here on
  work();
}

[[noreturn]] void throw_start_failure(int code, const std::string& name) {
  FixedString<128> text;
  text.format("Thread '%s' could not be started with code %llu.", name.c_str(),
              static_cast<unsigned long long>(code));
  throw std::system_error(code, std::system_category(), text.c_str());
}

[[noreturn]] void throw_wait_failure(int code) {
  FixedString<128> text;
  text.format("Wait for working thread failed with code %llu.", static_cast<unsigned long long>(code));
  throw std::system_error(code, std::system_category(), text.c_str());
}

}  // namespace

void qk_set_thread_observer(IThreadObserver* thread_observer) { observer = thread_observer; }

IThreadObserver* qk_thread_observer() { return observer.load(); }

Thread::~Thread() {
  if (joinable()) join();
}

Thread::Thread(Thread&& other) noexcept
    : settings(other.settings),
      stackSize(other.stackSize),
      affinity(other.affinity),
      handle_(std::exchange(other.handle_, {})),
      id_(std::exchange(other.id_, 0)),
      name_(std::move(other.name_)) {}

Thread& Thread::operator=(Thread&& other) noexcept {
  if (this != &other) {
    if (joinable()) join();
    settings = other.settings;
    stackSize = other.stackSize;
    affinity = other.affinity;
    handle_ = std::exchange(other.handle_, {});
    id_ = std::exchange(other.id_, 0);
    name_ = std::move(other.name_);
  }
  return *this;
}

void Thread::start(std::string name, std::function<void()> work) {
  if (joinable()) throw_start_failure(qk_platform_error_busy(), name);
  Start start;
  start.work = std::move(work);
  qk_platform_thread_options options;
  options.name = name.c_str();
  options.stack_size = uint64_t(stackSize);
  options.affinity = uint64_t(affinity);
  if (int error = qk_platform_thread_start(handle_, options, thread_main, &start))
    throw_start_failure(error, name);
  start.started.wait();
  id_ = start.id;
  name_ = std::move(name);
}

void Thread::join() {
  if (!joinable()) return;
  if (IThreadObserver* told = observer.load()) told->joining(id_);
  const int error = qk_platform_thread_join(handle_);
  if (error) qk_platform_thread_detach(handle_);
  handle_ = {};
  if (error) throw_wait_failure(error);
}

}  // namespace qk
