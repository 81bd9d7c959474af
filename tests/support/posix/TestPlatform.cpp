// The tests' system calls on POSIX.
#include "TestPlatform.h"

#include <pthread.h>
#include <unistd.h>
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

int qk_test_error(qk_test_failure failure) {
  switch (failure) {
    case qk_test_failure::missing_file: return ENOENT;
    case qk_test_failure::missing_folder: return ENOENT;
    case qk_test_failure::folder_as_file: return EISDIR;
    case qk_test_failure::wrong_direction: return EBADF;
    case qk_test_failure::negative_seek: return EINVAL;
  }
  return 0;
}

bool qk_test_open_files_can_be_removed() { return true; }

int qk_test_self_join_error() { return EDEADLK; }

int qk_test_shell_status(int exit_code) { return exit_code << 8; }

bool qk_test_folder_link(const char* target, const char* link) { return symlink(target, link) == 0; }
