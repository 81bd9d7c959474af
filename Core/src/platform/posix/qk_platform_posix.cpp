// POSIX implementation of the platform layer (the text conversions are in qk_platform_posix_text).
#include "platform/qk_platform.h"

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <errno.h>
#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/auxv.h>
#include <sys/syscall.h>
#include <unistd.h>

// ---- Process and memory ----------------------------------------------------------------------

void qk_platform_debug_break() { std::raise(SIGTRAP); }

size_t qk_platform_block_size(void* block) { return block ? malloc_usable_size(block) : 0; }

// The C runtime's realloc where its blocks are aligned to 16 (glibc on 64-bit targets); elsewhere
// a new block from aligned_alloc and a copy.
void* qk_platform_aligned_realloc(void* block, size_t size) {
  if (size == 0) size = 1;
  if constexpr (alignof(std::max_align_t) >= 16) {
    return std::realloc(block, size);
  } else {
    void* aligned = std::aligned_alloc(16, (size + 15) & ~size_t(15));
    if (aligned && block) {
      std::memcpy(aligned, block, std::min(size, malloc_usable_size(block)));
      std::free(block);
    }
    return aligned;
  }
}

void qk_platform_aligned_free(void* block) { std::free(block); }

// ---- Clock -----------------------------------------------------------------------------------

// The tick counter is in qk_platform_posix_clock.

int64_t qk_platform_unix_time() { return int64_t(time(nullptr)); }

namespace {

bool from_tm(const tm* broken, qk_platform_calendar& out) {
  if (!broken) return false;
  out = {broken->tm_year, broken->tm_mon, broken->tm_mday,
         broken->tm_hour, broken->tm_min, broken->tm_sec};
  return true;
}

}  // namespace

bool qk_platform_utc_time(int64_t seconds, qk_platform_calendar& out) {
  const time_t t = time_t(seconds);
  tm broken;
  return from_tm(gmtime_r(&t, &broken), out);
}

bool qk_platform_local_time(int64_t seconds, qk_platform_calendar& out) {
  const time_t t = time_t(seconds);
  tm broken;
  return from_tm(localtime_r(&t, &broken), out);
}

// ---- Threads ---------------------------------------------------------------------------------

namespace {

// The name every thread of the process has until someone names it: at exec the kernel names the
// process after the last part of the file name it was started by, cut to 15 bytes, and each new
// thread inherits its creator's name.
void inherited_name(char (&out)[16]) {
  const char* file = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
  const char* base = program_invocation_short_name;
  if (file) {
    const char* slash = std::strrchr(file, '/');
    base = slash ? slash + 1 : file;
  }
  const size_t length = std::min(std::strlen(base), sizeof out - 1);
  std::memcpy(out, base, length);
  out[length] = 0;
}

}  // namespace

void qk_platform_thread_name(char* out, size_t size) {
  out[0] = 0;
  char name[16] = {};  // the kernel keeps at most 15 bytes and a NUL
  char inherited[16];
  inherited_name(inherited);
  if (pthread_getname_np(pthread_self(), name, sizeof name) == 0 && name[0] &&
      std::strcmp(name, inherited) != 0) {
    const size_t length = std::min(std::strlen(name), size - 1);
    std::memcpy(out, name, length);
    out[length] = 0;
    return;
  }
  // The thread id is the one number the core formats with the C runtime.
  std::snprintf(out, size, "%u", unsigned(syscall(SYS_gettid)));
}

// ---- Standard error and the debugger channel -------------------------------------------------

namespace {

void write_all(int fd, const char* data, size_t size) {
  while (size > 0) {
    ssize_t n = write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    data += n;
    size -= size_t(n);
  }
}

void write_text(int fd, const char* text) { write_all(fd, text, std::strlen(text)); }

}  // namespace

void qk_platform_write_stderr(const char* data, size_t size) { write_all(STDERR_FILENO, data, size); }

bool qk_platform_stderr_is_console() {
  static const bool console = isatty(STDERR_FILENO) == 1;
  return console;
}

void qk_platform_set_console_colour(int attribute) {
  if (attribute == 7) {  // the console's default
    write_text(STDERR_FILENO, "\x1b[0m");
    return;
  }
  // Console attributes keep blue in bit 0 and red in bit 2; ANSI colours the other way round.
  const int ansi = ((attribute & 4) ? 1 : 0) | (attribute & 2) | ((attribute & 1) ? 4 : 0);
  char sequence[8] = {'\x1b', '[', '3', char('0' + ansi), 'm', 0};
  if (attribute & 8) sequence[2] = '9';  // the bright colours
  write_text(STDERR_FILENO, sequence);
}

namespace {

int debug_output_file() {
  static const int fd = [] {
    const char* path = std::getenv("QK_DEBUG_OUTPUT");
    if (!path || !*path) return -1;
    return open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  }();
  return fd;
}

}  // namespace

bool qk_platform_debug_output_open() { return debug_output_file() >= 0; }

void qk_platform_debug_output(const char16_t* line) {
  const int fd = debug_output_file();
  if (fd < 0) return;
  const int size = qk_platform_utf16_to_utf8(line, -1, nullptr, 0);
  if (size <= 1) return;
  std::string text(size_t(size), '\0');
  qk_platform_utf16_to_utf8(line, -1, text.data(), size);
  write_all(fd, text.data(), size_t(size - 1));  // without the terminator
}

// ---- Questions -------------------------------------------------------------------------------

int qk_platform_ask_abort_retry_ignore(const char* title, const char* text) {
  if (isatty(STDIN_FILENO) != 1 || isatty(STDERR_FILENO) != 1) return 0;
  std::string question = "\n";
  question += title;
  while (!question.empty() && question.back() == ' ') question.pop_back();
  question += ": ";
  question += text;
  if (question.back() != '\n') question += '\n';
  question += "Abort, Retry or Ignore? [a/R/i] ";
  write_all(STDERR_FILENO, question.data(), question.size());

  char answer = 0;
  for (char c; read(STDIN_FILENO, &c, 1) == 1 && c != '\n';)
    if (!answer && c != ' ' && c != '\t') answer = c;
  return answer == 'i' || answer == 'I' ? 1 : 0;  // Retry is the default button
}

// ---- Files -----------------------------------------------------------------------------------

int64_t qk_platform_read(qk_platform_file file, void* data, size_t size) {
  ssize_t n;
  do n = read(int(file.handle), data, size);
  while (n < 0 && errno == EINTR);
  return n;
}

void qk_platform_close(qk_platform_file file) {
  if (file.valid()) close(int(file.handle));
}
