// PosixPath: a path view copied to a terminated text on the stack for a system call.
//
// A path that doesn't fit PATH_MAX bytes with its terminator is refused with ENAMETOOLONG, and one
// with a zero byte inside with EINVAL: the system would read either as the name of another file.
// Private to the POSIX platform layer.
#pragma once

#include <errno.h>

#include <climits>
#include <cstring>
#include <string_view>

namespace qk_posix {

class PosixPath {
 public:
  explicit PosixPath(std::string_view path) noexcept {
    text_[0] = 0;
    if (path.size() >= sizeof text_) {
      error_ = ENAMETOOLONG;
    } else if (path.find('\0') != std::string_view::npos) {
      error_ = EINVAL;
    } else {
      std::memcpy(text_, path.data(), path.size());
      text_[path.size()] = 0;
    }
  }
  PosixPath(const PosixPath&) = delete;
  PosixPath& operator=(const PosixPath&) = delete;

  // 0 when the text is usable, else the reason it isn't.
  int error() const noexcept { return error_; }
  const char* c_str() const noexcept { return text_; }

 private:
  int error_ = 0;
  char text_[PATH_MAX];
};

// Runs a system call again while it fails with EINTR.
template <class Call>
auto retry_interrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

}  // namespace qk_posix
