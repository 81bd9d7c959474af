// LogOutputFile: the file of one log output, made when its first line comes, written through a
// buffer of its own.
//
// Owned by its output, used under the log's outputs lock only. The file is made once: an output
// never empties a file it has written. Failures are answered as texts
// for the caller to log once it has let go of the lock ("Failed to open log output PATH: REASON",
// "Failed to write log output PATH: REASON"); a file that failed stays failed and takes nothing
// more.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/qk_platform.h"

namespace qk {

class LogOutputFile {
 public:
  explicit LogOutputFile(std::string path) : path_(std::move(path)) {}
  ~LogOutputFile();
  LogOutputFile(const LogOutputFile&) = delete;
  LogOutputFile& operator=(const LogOutputFile&) = delete;

  const std::string& path() const { return path_; }
  bool is_open() const { return state_ == State::open; }
  bool failed() const { return state_ == State::failed; }

  // Makes (or empties) the file. False, with the reason in `failure`, when it can't be made.
  bool open(std::string& failure);
  // Adds bytes to the buffer, writing it to the file when full; with `write_through`, writes at
  // once. False, with the reason in `failure`, when a write failed.
  bool write(const char* data, size_t size, bool write_through, std::string& failure);
  // Writes the buffer to the file.
  bool flush(std::string& failure);
  // Flushes and closes for good: later lines are refused.
  void close(std::string& failure);

 private:
  enum class State { unopened, open, failed, closed };

  bool fail(const char* what, int error, std::string& failure);

  std::string path_;
  qk_platform_file handle_;
  State state_ = State::unopened;
  std::vector<char> buffer_;
};

}  // namespace qk
