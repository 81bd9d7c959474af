// Runs a piece of a test in a child process, for what ends a process (abort, a debug break) or
// must not leave its state behind: its standard error and how it ended come back.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <iostream>
#include <string>

struct ChildResult {
  int status = 0;
  std::string error_output;

  bool exited_with(int code) const { return WIFEXITED(status) && WEXITSTATUS(status) == code; }
  bool killed_by(int signal) const { return WIFSIGNALED(status) && WTERMSIG(status) == signal; }
};

// `body` runs in a child that ends with status 0 when it returns; the child is stopped by SIGALRM
// if it takes more than 60 seconds.
inline ChildResult run_in_child(const std::function<void()>& body) {
  int fds[2];
  if (pipe(fds) != 0) return {-1, "pipe failed"};
  std::fflush(stderr);
  std::cerr.flush();
  const pid_t child = fork();
  if (child == 0) {
    close(fds[0]);
    dup2(fds[1], STDERR_FILENO);
    close(fds[1]);
    alarm(60);
    body();
    std::cerr.flush();
    _exit(0);
  }
  close(fds[1]);
  ChildResult result;
  char chunk[4096];
  for (ssize_t n; (n = read(fds[0], chunk, sizeof chunk)) != 0;) {
    if (n < 0) break;
    result.error_output.append(chunk, size_t(n));
  }
  close(fds[0]);
  waitpid(child, &result.status, 0);
  return result;
}
