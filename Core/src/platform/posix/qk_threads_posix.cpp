// The platform's threads on POSIX: pthreads, the kernel's thread ids and names.
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/qk_threads.h"

static_assert(sizeof(pthread_t) <= sizeof(uintptr_t), "a pthread_t fits the handle");

namespace {

pthread_t to_pthread(qk_platform_thread_handle handle) {
  pthread_t thread;
  std::memcpy(&thread, &handle.handle, sizeof thread);
  return thread;
}

// What the new thread needs until it has named itself and started its entry.
struct Start {
  void (*entry)(void*);
  void* argument;
  char name[16];
};

void* thread_main(void* start_block) {
  const Start start = *static_cast<Start*>(start_block);
  delete static_cast<Start*>(start_block);
  if (start.name[0]) pthread_setname_np(pthread_self(), start.name);
  start.entry(start.argument);
  return nullptr;
}

void copy_name(char (&out)[16], const char* name) {
  const size_t length = name ? strnlen(name, sizeof out - 1) : 0;
  if (length) std::memcpy(out, name, length);
  out[length] = 0;
}

}  // namespace

uint32_t qk_platform_thread_id() {
  thread_local const uint32_t id = uint32_t(syscall(SYS_gettid));
  return id;
}

void qk_platform_fast_fail(unsigned) { std::abort(); }

int qk_platform_thread_start(qk_platform_thread_handle& out, const qk_platform_thread_options& options,
                             void (*entry)(void*), void* argument) {
  out = {};
  pthread_attr_t attributes;
  if (int error = pthread_attr_init(&attributes)) return error;
  int error = 0;
  if (options.stack_size) error = pthread_attr_setstacksize(&attributes, size_t(options.stack_size));
  if (!error && options.affinity != ~uint64_t(0)) {
    cpu_set_t processors;
    CPU_ZERO(&processors);
    for (unsigned cpu = 0; cpu < 64 && cpu < CPU_SETSIZE; ++cpu)
      if (options.affinity >> cpu & 1) CPU_SET(cpu, &processors);
    error = pthread_attr_setaffinity_np(&attributes, sizeof processors, &processors);
  }
  if (!error) {
    auto* start = new (std::nothrow) Start{entry, argument, {}};
    if (!start) {
      error = ENOMEM;
    } else {
      copy_name(start->name, options.name);
      pthread_t thread;
      error = pthread_create(&thread, &attributes, thread_main, start);
      if (error) {
        delete start;
      } else {
        std::memcpy(&out.handle, &thread, sizeof thread);
        out.valid = true;
      }
    }
  }
  pthread_attr_destroy(&attributes);
  return error;
}

int qk_platform_error_busy() { return EBUSY; }

int qk_platform_thread_join(qk_platform_thread_handle handle) {
  if (!handle.valid) return EINVAL;
  // glibc answers a thread that joins itself with EDEADLK too; asking first spares the call, which
  // the sanitizers' bookkeeping doesn't survive.
  if (pthread_equal(to_pthread(handle), pthread_self())) return EDEADLK;
  return pthread_join(to_pthread(handle), nullptr);
}

void qk_platform_thread_detach(qk_platform_thread_handle handle) {
  if (handle.valid) pthread_detach(to_pthread(handle));
}

bool qk_platform_thread_is_current(qk_platform_thread_handle handle) {
  return handle.valid && pthread_equal(to_pthread(handle), pthread_self());
}

void qk_platform_thread_set_name(const char* name) {
  char cut[16];
  copy_name(cut, name);
  pthread_setname_np(pthread_self(), cut);
}
