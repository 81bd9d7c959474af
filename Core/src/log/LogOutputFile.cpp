#include "log/LogOutputFile.h"

#include <cstring>

#include "platform/qk_fs.h"

namespace qk {

namespace {
constexpr size_t kBufferSize = 64 * 1024;
}  // namespace

LogOutputFile::~LogOutputFile() {
  std::string ignored;
  close(ignored);
}

bool LogOutputFile::fail(const char* what, int error, std::string& failure) {
  state_ = State::failed;
  failure = std::string("Failed to ") + what + " log output " + path_ + ": " + qk_system_error_text(error);
  if (handle_.valid()) qk_platform_close(handle_);
  handle_ = {};
  buffer_.clear();
  return false;
}

bool LogOutputFile::open(std::string& failure) {
  if (state_ != State::unopened) return state_ == State::open;
  qk_platform_error error = 0;
  handle_ = qk_fs_open(path_, QK_FS_WRITE, QK_FS_CREATE_ALWAYS, QK_FS_SEQUENTIAL_SCAN, &error);
  if (!handle_.valid()) return fail("open", error, failure);
  state_ = State::open;
  buffer_.reserve(kBufferSize);
  return true;
}

bool LogOutputFile::write(const char* data, size_t size, bool write_through, std::string& failure) {
  if (state_ != State::open) return false;
  if (buffer_.size() + size > kBufferSize && !flush(failure)) return false;
  if (size >= kBufferSize) {  // a line larger than the buffer goes on its own
    size_t done = 0;
    if (const qk_platform_error error = qk_platform_write_fully(handle_, data, size, done))
      return fail("write", error, failure);
  } else {
    buffer_.insert(buffer_.end(), data, data + size);
  }
  return !write_through || flush(failure);
}

bool LogOutputFile::flush(std::string& failure) {
  if (state_ != State::open || buffer_.empty()) return state_ == State::open;
  size_t done = 0;
  const qk_platform_error error = qk_platform_write_fully(handle_, buffer_.data(), buffer_.size(), done);
  buffer_.clear();
  return error ? fail("write", error, failure) : true;
}

void LogOutputFile::close(std::string& failure) {
  if (state_ == State::open && flush(failure)) qk_platform_close(handle_);
  handle_ = {};
  if (state_ != State::failed) state_ = State::closed;
}

}  // namespace qk
