// Win32Path: a UTF-8 path view converted to UTF-16 units on the stack for a wide system call, and
// the few conversions and texts the Win32 file operations share.
//
// A path holds at most MAX_PATH (260) units with its terminator, the limit of the plain wide file
// calls. One that doesn't fit is refused with ERROR_FILENAME_EXCED_RANGE and one with a zero byte
// inside with ERROR_INVALID_NAME, rather than cut: a cut path would name another file. The
// conversion is the system's (MultiByteToWideChar), so that every name on the disk can be spelt;
// a malformed UTF-8 sequence becomes U+FFFD. Private to the Win32 platform layer.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// wingdi.h's ERROR (a region's answer) would hide the log level of the same name.
#undef ERROR

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

#include "platform/qk_fs.h"

namespace qk_win32 {

class Win32Path {
 public:
  explicit Win32Path(std::string_view path) noexcept {
    text_[0] = 0;
    if (path.find('\0') != std::string_view::npos) {
      error_ = ERROR_INVALID_NAME;
    } else if (path.size() >= size_t(MAX_PATH) * 4) {
      error_ = ERROR_FILENAME_EXCED_RANGE;  // more bytes than any fitting text can have
    } else if (!path.empty()) {
      const int units = MultiByteToWideChar(CP_UTF8, 0, path.data(), int(path.size()), text_, MAX_PATH - 1);
      if (units <= 0) {
        error_ =
            GetLastError() == ERROR_INSUFFICIENT_BUFFER ? DWORD(ERROR_FILENAME_EXCED_RANGE) : GetLastError();
      } else {
        length_ = size_t(units);
        text_[length_] = 0;
      }
    }
  }
  Win32Path(const Win32Path&) = delete;
  Win32Path& operator=(const Win32Path&) = delete;

  // 0 when the text is usable, else the reason it isn't.
  DWORD error() const noexcept { return error_; }
  const wchar_t* c_str() const noexcept { return text_; }
  size_t size() const noexcept { return length_; }

 private:
  DWORD error_ = 0;
  size_t length_ = 0;
  wchar_t text_[MAX_PATH];
};

// The UTF-16 units of the platform's calls as the core's wide text (both are 16-bit units here).
inline const qk::wchar* core_text(const wchar_t* text) { return reinterpret_cast<const qk::wchar*>(text); }

// UTF-16 units to UTF-8 by the system's converter, at most `limit` bytes and never a character cut.
std::string utf8_of(const wchar_t* text, size_t units, size_t limit = SIZE_MAX);

// A file time (UTC) as Unix seconds taken through local time: the local calendar time by the
// system's time zone, then mktime with daylight saving left to it. 0 when a step fails.
time_t time_of(const FILETIME& when);

// The fs_entry of a file or folder from its attributes, size and last-write time.
fs_entry entry_of(DWORD attributes, DWORD size_high, DWORD size_low, const FILETIME& written);

// Logs "Failed to OPERATION PATH: TEXT" at ERROR under QKCORESTATIC with the system's text of `code`.
void log_failure(const char* operation, std::string_view path, DWORD code);

}  // namespace qk_win32
