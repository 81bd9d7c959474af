// POSIX implementation of the standard output switch of platform/qk_platform.h: dup and dup2 of
// descriptor 1.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "platform/qk_platform.h"

int qk_platform_stdout_divert() {
  std::fflush(stdout);
  const int saved = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  if (saved < 0) return -1;
  if (dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
    close(saved);
    return -1;
  }
  return saved;
}

void qk_platform_stdout_restore(int token) {
  if (token < 0) return;
  std::fflush(stdout);
  dup2(token, STDOUT_FILENO);
  close(token);
}
