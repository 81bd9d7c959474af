// POSIX implementation of the platform layer's controlling terminal and debugger calls.
#include <errno.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/qk_platform.h"

// ---- The controlling terminal ----------------------------------------------------------------

struct qk_platform_terminal {
  int fd = -1;
  bool restore = false;
  termios saved{};
};

qk_platform_terminal* qk_platform_terminal_open() {
  const int fd = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return nullptr;  // ENXIO: no controlling terminal
  auto* terminal = new qk_platform_terminal;
  terminal->fd = fd;
  termios settings;
  if (tcgetattr(fd, &settings) == 0) {
    terminal->saved = settings;
    settings.c_cc[VEOF] = _POSIX_VDISABLE;
    terminal->restore = tcsetattr(fd, TCSANOW, &settings) == 0;
  }
  return terminal;
}

void qk_platform_terminal_close(qk_platform_terminal* terminal) {
  if (!terminal) return;
  if (terminal->restore) tcsetattr(terminal->fd, TCSANOW, &terminal->saved);
  close(terminal->fd);
  delete terminal;
}

void qk_platform_terminal_write(qk_platform_terminal* terminal, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t n = write(terminal->fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    data += n;
    size -= size_t(n);
  }
}

bool qk_platform_terminal_read_line(qk_platform_terminal* terminal, std::string& line) {
  line.clear();
  for (;;) {
    char c;
    const ssize_t n = read(terminal->fd, &c, 1);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;  // hung up: end of file with the end-of-file key disabled, or EIO
    if (c == '\n') return true;
    if (line.size() < 1024) line += c;
  }
}

// ---- Debugger --------------------------------------------------------------------------------

namespace {

// The tracer's id in /proc/PID/status (0 for none, -1 when it can't be read). Only calls that are
// safe in a child forked from a threaded process, which the launch is.
long tracer_of(const char* status_path) {
  const int fd = open(status_path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return -1;
  char text[4096];
  size_t size = 0;
  for (ssize_t n; size < sizeof text - 1 && (n = read(fd, text + size, sizeof text - 1 - size)) != 0;) {
    if (n < 0) {
      if (errno == EINTR) continue;
      break;
    }
    size += size_t(n);
  }
  close(fd);
  text[size] = 0;
  static const char kKey[] = "\nTracerPid:";
  const char* at = strstr(text, kKey);
  if (!at) return -1;
  at += sizeof kKey - 1;
  while (*at == ' ' || *at == '\t') ++at;
  long tracer = 0;
  for (; *at >= '0' && *at <= '9'; ++at) tracer = tracer * 10 + (*at - '0');
  return tracer;
}

void sleep_ms(uint32_t milliseconds) {
  timespec pause{time_t(milliseconds / 1000), long(milliseconds % 1000) * 1000000L};
  while (nanosleep(&pause, &pause) != 0 && errno == EINTR) {
  }
}

// The launch, in its own process: starts the debugger and waits until it has attached to `pid`
// or has ended. Never returns.
[[noreturn]] void run_launch(const char* debugger, char* const* argv, const char* status_path) {
  const pid_t child = fork();
  if (child == 0) {
    const int tty = open("/dev/tty", O_RDWR);
    if (tty >= 0) {
      dup2(tty, STDIN_FILENO);
      dup2(tty, STDOUT_FILENO);
      dup2(tty, STDERR_FILENO);
      if (tty > STDERR_FILENO) close(tty);
    }
    execv(debugger, argv);
    _exit(127);
  }
  if (child < 0) _exit(126);
  for (;;) {
    if (tracer_of(status_path) > 0) _exit(0);
    int status = 0;
    if (waitpid(child, &status, WNOHANG) == child) {
      const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
      _exit(code == 0 ? 1 : code);
    }
    sleep_ms(10);
  }
}

}  // namespace

bool qk_platform_debugger_present() { return tracer_of("/proc/self/status") > 0; }

uint32_t qk_platform_process_id() { return uint32_t(getpid()); }

void qk_platform_sleep(uint32_t milliseconds) { sleep_ms(milliseconds); }

const char* qk_platform_debugger_name() { return "gdb"; }

bool qk_platform_find_program(const char* program, std::string& path) {
  const char* folders = std::getenv("PATH");
  if (!folders || !program || !*program || std::strchr(program, '/')) return false;
  for (const char* part = folders;; ++part) {
    const char* end = std::strchr(part, ':');
    const size_t length = end ? size_t(end - part) : std::strlen(part);
    std::string candidate(part, length);
    if (candidate.empty()) candidate = ".";  // an empty entry is the working directory
    candidate += '/';
    candidate += program;
    struct stat info;
    if (stat(candidate.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
        access(candidate.c_str(), X_OK) == 0) {
      path = candidate;
      return true;
    }
    if (!end) return false;
    part = end;
  }
}

bool qk_platform_launch_debugger(const std::string& debugger, int& exit_code) {
  // Everything the launch needs is made before the fork: the child of a threaded process may only
  // make calls that are safe after it.
  const std::string pid = std::to_string(getpid());
  const std::string status_path = "/proc/" + pid + "/status";
  std::string program = debugger;
  std::string quiet = "-q", attach = "-p", pid_arg = pid, command = "-ex", resume = "continue";
  char* const argv[] = {program.data(), quiet.data(),  attach.data(), pid_arg.data(),
                        command.data(), resume.data(), nullptr};
  // With Yama's restricted tracing a process may only be traced by its ancestors, unless it names
  // a tracer: this process names itself, which admits its descendants.
  prctl(PR_SET_PTRACER, static_cast<unsigned long>(getpid()), 0, 0, 0);
  const pid_t launch = fork();
  if (launch < 0) return false;
  if (launch == 0) run_launch(program.c_str(), argv, status_path.c_str());
  int status = 0;
  while (waitpid(launch, &status, 0) < 0) {
    if (errno != EINTR) {
      exit_code = 1;
      return true;
    }
  }
  exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
  return true;
}
