// POSIX implementation of the platform layer.
#include "platform/qk_platform.h"

#include <csignal>
#include <cstdio>
#include <ctime>

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

void qk_platform_debug_break() { std::raise(SIGTRAP); }

int64_t qk_platform_ticks() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t(now.tv_sec) * 1000000000 + now.tv_nsec;
}

int64_t qk_platform_ticks_per_second() { return 1000000000; }

void qk_platform_thread_name(char* out, size_t size) {
  out[0] = 0;
  char name[16] = {};  // the kernel keeps at most 15 bytes and a NUL
  if (pthread_getname_np(pthread_self(), name, sizeof name) == 0 && name[0]) {
    std::snprintf(out, size, "%s", name);
    return;
  }
  // The thread id is the one number the core formats with the C runtime.
  std::snprintf(out, size, "%u", unsigned(syscall(SYS_gettid)));
}

void qk_platform_write_stderr(const char* data, size_t size) {
  while (size > 0) {
    ssize_t n = write(STDERR_FILENO, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    data += n;
    size -= size_t(n);
  }
}

qk_platform_file qk_platform_open_read(const char* path) {
  qk_platform_file file;
  int fd;
  do fd = open(path, O_RDONLY | O_CLOEXEC);
  while (fd < 0 && errno == EINTR);
  file.handle = fd;
  return file;
}

bool qk_platform_file_size(qk_platform_file file, uint64_t& size) {
  struct stat st;
  if (fstat(int(file.handle), &st) != 0 || !S_ISREG(st.st_mode)) return false;
  size = uint64_t(st.st_size);
  return true;
}

int64_t qk_platform_read(qk_platform_file file, void* data, size_t size) {
  ssize_t n;
  do n = read(int(file.handle), data, size);
  while (n < 0 && errno == EINTR);
  return n;
}

void qk_platform_close(qk_platform_file file) {
  if (file.valid()) close(int(file.handle));
}
