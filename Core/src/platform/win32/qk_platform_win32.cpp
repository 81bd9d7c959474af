// Win32 implementation of the platform layer: memory, clock, thread names, standard error and the
// console, the debugger channel and the fatal-level question. The text conversions are in
// qk_platform_win32_text, the debugger and the standard output switch in qk_platform_win32_debug.
#include <malloc.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "platform/qk_platform.h"
#include "platform/win32/qk_message_box_win32.h"

// ---- Process and memory ----------------------------------------------------------------------

void qk_platform_debug_break() { DebugBreak(); }

size_t qk_platform_block_size(void* block) { return block ? _msize(block) : 0; }

void* qk_platform_aligned_realloc(void* block, size_t size) {
  return _aligned_realloc(block, size ? size : 1, 16);
}

void qk_platform_aligned_free(void* block) { _aligned_free(block); }

// ---- Clock -----------------------------------------------------------------------------------

int64_t qk_platform_ticks() {
  LARGE_INTEGER now;
  QueryPerformanceCounter(&now);
  return now.QuadPart;
}

int64_t qk_platform_ticks_per_second() {
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  return frequency.QuadPart;
}

int64_t qk_platform_unix_time() { return int64_t(_time64(nullptr)); }

namespace {

bool from_tm(bool ok, const tm& broken, qk_platform_calendar& out) {
  if (!ok) return false;
  out = {broken.tm_year, broken.tm_mon, broken.tm_mday, broken.tm_hour, broken.tm_min, broken.tm_sec};
  return true;
}

}  // namespace

bool qk_platform_utc_time(int64_t seconds, qk_platform_calendar& out) {
  const __time64_t t = seconds;
  tm broken{};
  return from_tm(_gmtime64_s(&broken, &t) == 0, broken, out);
}

bool qk_platform_local_time(int64_t seconds, qk_platform_calendar& out) {
  const __time64_t t = seconds;
  tm broken{};
  return from_tm(_localtime64_s(&broken, &t) == 0, broken, out);
}

// ---- Threads ---------------------------------------------------------------------------------

namespace {

// GetThreadDescription exists from Windows 10 1607 on; looked up once, absent elsewhere.
using GetDescription = HRESULT(WINAPI*)(HANDLE, PWSTR*);

GetDescription get_description() {
  static const GetDescription function = [] {
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    return kernel ? reinterpret_cast<GetDescription>(
                        reinterpret_cast<void (*)()>(GetProcAddress(kernel, "GetThreadDescription")))
                  : nullptr;
  }();
  return function;
}

}  // namespace

void qk_platform_thread_name(char* out, size_t size) {
  out[0] = 0;
  if (const GetDescription describe = get_description()) {
    PWSTR name = nullptr;
    if (SUCCEEDED(describe(GetCurrentThread(), &name)) && name) {
      const bool named = name[0] != 0;
      if (named) {
        char narrow[64];
        const int n = WideCharToMultiByte(CP_UTF8, 0, name, -1, narrow, sizeof narrow, nullptr, nullptr);
        if (n > 0) {
          const size_t length = std::min(std::strlen(narrow), size - 1);
          std::memcpy(out, narrow, length);
          out[length] = 0;
        }
      }
      LocalFree(name);
      if (out[0]) return;
    }
  }
  // The thread id is the one number the core formats with the C runtime.
  std::snprintf(out, size, "%lu", static_cast<unsigned long>(GetCurrentThreadId()));
}

// ---- Standard error and the debugger channel -------------------------------------------------

namespace {

HANDLE error_handle() { return GetStdHandle(STD_ERROR_HANDLE); }

}  // namespace

void qk_platform_write_stderr(const char* data, size_t size) {
  const HANDLE handle = error_handle();
  while (size > 0) {
    DWORD written = 0;
    const DWORD chunk = size > 0x40000000 ? 0x40000000 : DWORD(size);
    if (!WriteFile(handle, data, chunk, &written, nullptr) || written == 0) return;
    data += written;
    size -= written;
  }
}

bool qk_platform_stderr_is_console() {
  static const bool console = [] {
    DWORD mode = 0;
    if (!GetConsoleMode(error_handle(), &mode)) return false;
    SetConsoleOutputCP(CP_UTF8);  // the log writes UTF-8 bytes
    return true;
  }();
  return console;
}

void qk_platform_set_console_colour(int attribute) {
  SetConsoleTextAttribute(error_handle(), WORD(attribute));
}

void qk_platform_debug_output(const char16_t* line) {
  OutputDebugStringW(reinterpret_cast<const wchar_t*>(line));
}

// The system takes the line whether or not anyone listens: a debugger or a monitor of the channel
// may attach at any time.
bool qk_platform_debug_output_open() { return true; }

// ---- Questions -------------------------------------------------------------------------------

namespace {

// `text` in UTF-16, cut to at most `limit` units.
std::u16string widen(const char* text, size_t limit) {
  const int units = qk_platform_utf8_to_utf16(text, -1, nullptr, 0);
  std::u16string wide(size_t(units > 0 ? units : 1), u'\0');
  if (units > 0) qk_platform_utf8_to_utf16(text, -1, wide.data(), units);
  wide.resize(std::min(wide.size() - 1, limit));  // without the terminator
  return wide;
}

}  // namespace

// The box has no owner and stays on top of everything: MB_ABORTRETRYIGNORE | MB_ICONERROR |
// MB_DEFBUTTON2 | MB_SYSTEMMODAL | MB_SETFOREGROUND | MB_TOPMOST.
int qk_platform_ask_abort_retry_ignore(const char* title, const char* text) {
  const std::u16string wide_title = widen(title, 8), wide_text = widen(text, 65535);
  return qk_platform_message_box(wide_text.c_str(), wide_title.c_str(), 0x51112, false) == IDIGNORE ? 1 : 0;
}
