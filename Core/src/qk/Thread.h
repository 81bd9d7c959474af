// qk::Thread: the core's wrapper of one system thread, and the process-wide thread observer.
//
// A Thread is started once with a name and its work; the system thread is named before the work
// runs (the log shows that name in its lines; the kernel keeps 15 bytes of it). joinable answers
// whether there is a thread to join, which stays true after the thread's work has ended, until it
// is joined. join tells the thread observer (if one is registered) the id of the thread it is
// about to wait for, waits, and frees the handle; joining the calling thread itself, or any other
// failure of the wait, lets the thread go on its own (detached: POSIX can't end another thread
// safely), leaves no handle, and throws std::system_error with the system's code and the text
// "Wait for working thread failed with code %llu.". A thread that can't be started throws
// std::system_error with "Thread '%s' could not be started with code %llu.". The destructor joins a
// joinable thread, so a failing wait there ends the process, and so does an exception that leaves
// the work, as with std::thread (tasks catch their own: see MainTask).
//
// Settings, in the order the core lays them out: three 32-bit values (2, 5 and 2 at first) whose
// meaning the core leaves open and nothing on Linux reads; the stack size (0: the system's
// default) and the processor mask (all ones: any processor), applied when the thread starts.
//
// A Thread belongs to its owner: start, join and the destructor are called by one thread at a time.
// It can be moved (so that pools keep them in vectors) but not copied.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "platform/qk_threads.h"

namespace qk {

// Told of every join before it waits; registered by an embedder. Called on the joining thread.
class IThreadObserver {
 public:
  virtual void joining(uint32_t threadId) = 0;

 protected:
  virtual ~IThreadObserver() = default;
};

// The process-wide observer (null: none, as in the plug-in).
void qk_set_thread_observer(IThreadObserver* observer);
IThreadObserver* qk_thread_observer();

class Thread {
 public:
  Thread() noexcept = default;
  ~Thread();
  Thread(Thread&& other) noexcept;
  Thread& operator=(Thread&& other) noexcept;
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  // Starts `work` on a new thread named `name`, and waits until that thread has its id. Throws
  // std::system_error when no thread could be started; a Thread that has one already is refused
  // the same way (the system's code for a resource in use: EBUSY, ERROR_BUSY).
  void start(std::string name, std::function<void()> work);

  bool joinable() const noexcept { return handle_.valid; }
  void join();

  // The system's id of the started thread, 0 before.
  uint32_t id() const noexcept { return id_; }
  const std::string& name() const noexcept { return name_; }

  std::array<int32_t, 3> settings{2, 5, 2};
  int64_t stackSize = 0;
  int64_t affinity = -1;

 private:
  qk_platform_thread_handle handle_;
  uint32_t id_ = 0;
  std::string name_;
};

}  // namespace qk
