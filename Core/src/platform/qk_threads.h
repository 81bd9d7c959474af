// The platform's threads, for the core's synchronisation layer (qk::Thread, the task system, the
// Lua thread-use check): starting, naming, identifying and joining threads, and the immediate
// stop of a process whose synchronisation state is broken. CMake picks one implementation
// (platform/posix/ on Linux: pthreads).
//
// All functions may be called from any thread.
#pragma once

#include <cstddef>
#include <cstdint>

// The calling thread's system-wide id (the kernel's thread id on Linux), as the log and the
// thread-use check show it.
uint32_t qk_platform_thread_id();

// Ends the process at once, with no handler, flush or unwinding of the process's own: the answer
// to a broken invariant of a synchronisation object (a semaphore started below zero or counted past
// its maximum). `code` says which (5: invalid argument). On POSIX the process ends by SIGABRT.
[[noreturn]] void qk_platform_fast_fail(unsigned code);

// A started thread, known by its handle until it is joined or detached. `valid` false means none.
struct qk_platform_thread_handle {
  uintptr_t handle = 0;
  bool valid = false;
};

// What a new thread is started with. A `stack_size` of 0 takes the system's default; an
// `affinity` of all ones lets it run on every processor, otherwise bit n allows processor n.
struct qk_platform_thread_options {
  const char* name = "";  // cut to the 15 bytes the kernel keeps
  uint64_t stack_size = 0;
  uint64_t affinity = ~uint64_t(0);
};

// Starts `entry(argument)` on a new thread. The thread is named before `entry` runs. Answers 0, or
// the system's error code when the thread couldn't be started (`out` stays invalid).
int qk_platform_thread_start(qk_platform_thread_handle& out, const qk_platform_thread_options& options,
                             void (*entry)(void*), void* argument);
// The system's error code for a resource in use (EBUSY; ERROR_BUSY on Windows): the answer to a
// second start of a thread object that has one running.
int qk_platform_error_busy();
// Waits for the thread to end and frees its handle. Answers 0, or the system's error code (joining
// the calling thread itself, a handle already joined); the handle is then left as it was.
int qk_platform_thread_join(qk_platform_thread_handle handle);
// Lets the thread go: its resources are freed when it ends, and nobody can wait for it any more.
void qk_platform_thread_detach(qk_platform_thread_handle handle);
// True when `handle` is the calling thread.
bool qk_platform_thread_is_current(qk_platform_thread_handle handle);
// Names the calling thread (cut to 15 bytes); the log shows the name in its lines.
void qk_platform_thread_set_name(const char* name);
