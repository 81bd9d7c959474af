// The tests' system calls on POSIX.
#include "TestPlatform.h"

#include <pthread.h>
#include <utime.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

void qk_test_setenv(const char* name, const char* value) { setenv(name, value, 1); }

void qk_test_unsetenv(const char* name) { unsetenv(name); }

bool qk_test_set_file_time(const std::string& path, time_t seconds) {
  const utimbuf times{seconds, seconds};
  return utime(path.c_str(), &times) == 0;
}

std::string qk_test_thread_name() {
  char name[16] = {};
  pthread_getname_np(pthread_self(), name, sizeof name);
  return name;
}

void qk_test_set_thread_name(const char* name) { pthread_setname_np(pthread_self(), name); }

tm qk_test_utc(time_t seconds) {
  tm broken{};
  gmtime_r(&seconds, &broken);
  return broken;
}

int qk_test_open_handle_count() {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    (void)entry;
    ++count;
  }
  return count;
}

int qk_test_self_join_error() { return EDEADLK; }
