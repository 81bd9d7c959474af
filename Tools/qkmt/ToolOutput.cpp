#include "ToolOutput.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include "ToolFiles.h"
#include "platform/qk_fs.h"
#include "platform/qk_platform.h"

namespace {

// The reason of the first write to standard output that failed, as it happened: a write larger
// than the stream's buffer goes straight to the system, and nothing is kept to try again later.
int firstWriteError = 0;

}  // namespace

void writeOut(std::string_view text) {
  errno = 0;
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() && firstWriteError == 0)
    firstWriteError = errno;
}

void writeErr(std::string_view text) {
  std::fflush(stdout);
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

int finishStandardOutput(int status) {
  errno = 0;
  // The C runtime keeps what it couldn't write and tries again here, so a failed flush tells the
  // reason even when the first failure came earlier.
  const bool flushed = std::fflush(stdout) == 0;
  const int error = firstWriteError != 0 ? firstWriteError : flushed ? 0 : errno;
  if (flushed && !std::ferror(stdout)) return status;
  const std::string reason = error != 0 ? systemReason(error) : std::string("write error");
  std::fputs(("qkmt: standard output can't be written: " + reason + "\n").c_str(), stderr);
  return status != 0 ? status : 1;
}

StdoutDiversion::StdoutDiversion() : token_(qk_platform_stdout_divert()) {}

StdoutDiversion::~StdoutDiversion() { qk_platform_stdout_restore(token_); }
