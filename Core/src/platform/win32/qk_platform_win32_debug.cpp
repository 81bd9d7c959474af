// Win32 implementation of the platform layer's console question, debugger calls, standard output
// switch and single-file reads.
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>
#include <string>

#include "platform/qk_platform.h"

// ---- The controlling terminal ----------------------------------------------------------------
//
// The console the process is attached to, whatever its standard handles are redirected to.

struct qk_platform_terminal {
  HANDLE input = INVALID_HANDLE_VALUE;
  HANDLE output = INVALID_HANDLE_VALUE;
};

qk_platform_terminal* qk_platform_terminal_open() {
  if (!GetConsoleWindow()) return nullptr;  // no console: nobody to ask
  const HANDLE input = CreateFileW(L"CONIN$", GENERIC_READ | GENERIC_WRITE,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  const HANDLE output = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  if (input == INVALID_HANDLE_VALUE || output == INVALID_HANDLE_VALUE) {
    if (input != INVALID_HANDLE_VALUE) CloseHandle(input);
    if (output != INVALID_HANDLE_VALUE) CloseHandle(output);
    return nullptr;
  }
  return new qk_platform_terminal{input, output};
}

void qk_platform_terminal_close(qk_platform_terminal* terminal) {
  if (!terminal) return;
  CloseHandle(terminal->input);
  CloseHandle(terminal->output);
  delete terminal;
}

void qk_platform_terminal_write(qk_platform_terminal* terminal, const char* data, size_t size) {
  while (size > 0) {
    DWORD written = 0;
    if (!WriteFile(terminal->output, data, DWORD(size > 65536 ? 65536 : size), &written, nullptr) ||
        written == 0)
      return;
    data += written;
    size -= written;
  }
}

bool qk_platform_terminal_read_line(qk_platform_terminal* terminal, std::string& line) {
  line.clear();
  for (;;) {
    char c;
    DWORD read = 0;
    if (!ReadFile(terminal->input, &c, 1, &read, nullptr) || read == 0) return false;
    if (c == '\r') continue;
    if (c == '\n') return true;
    if (line.size() < 1024) line += c;
  }
}

// ---- Debugger --------------------------------------------------------------------------------

bool qk_platform_debugger_present() { return IsDebuggerPresent() != 0; }

uint32_t qk_platform_process_id() { return uint32_t(GetCurrentProcessId()); }

void qk_platform_sleep(uint32_t milliseconds) { Sleep(milliseconds); }

const char* qk_platform_debugger_name() { return "vsjitdebugger.exe"; }

// The debugger of Windows lives in the system folder: the answer is that folder and the name,
// whether or not the file is there (the launch finds out).
bool qk_platform_find_program(const char* program, std::string& path) {
  if (!program || !*program) return false;
  const UINT size = GetSystemDirectoryW(nullptr, 0);
  if (size == 0) return false;
  std::wstring folder(size, L'\0');
  const UINT length = GetSystemDirectoryW(folder.data(), size);
  if (length == 0 || length >= size) return false;
  folder.resize(length);
  const int units = WideCharToMultiByte(CP_UTF8, 0, folder.c_str(), -1, nullptr, 0, nullptr, nullptr);
  if (units <= 0) return false;
  path.assign(size_t(units - 1), '\0');
  WideCharToMultiByte(CP_UTF8, 0, folder.c_str(), -1, path.data(), units, nullptr, nullptr);
  path += '\\';
  path += program;
  return true;
}

bool qk_platform_executable_path(std::string& path) {
  std::wstring wide(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(nullptr, wide.data(), DWORD(wide.size()));
    if (length == 0) return false;
    if (length < wide.size()) {
      wide.resize(length);
      break;
    }
    if (wide.size() >= 32768) return false;
    wide.resize(wide.size() * 2);
  }
  const int units = WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
  if (units <= 0) return false;
  path.assign(size_t(units - 1), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, path.data(), units, nullptr, nullptr);
  return true;
}

// Starts "DEBUGGER -p PID", waits for it and answers its status the way the caller reads it: 0
// when the debugger said it attached (0x400B0) or is still running, otherwise its status (1 for a
// status of 0), after which the caller polls for the debugger a while.
bool qk_platform_launch_debugger(const std::string& debugger, int& exit_code) {
  std::string command = debugger + " -p " + std::to_string(GetCurrentProcessId());
  const int units = MultiByteToWideChar(CP_UTF8, 0, command.c_str(), -1, nullptr, 0);
  if (units <= 0) return false;
  std::wstring wide(size_t(units), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, command.c_str(), -1, wide.data(), units);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(nullptr, wide.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
    return false;
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD status = 0;
  const bool known = GetExitCodeProcess(process.hProcess, &status) && status != STILL_ACTIVE;
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  if (!known || status == 0x400B0)
    exit_code = 0;
  else
    exit_code = status == 0 ? 1 : int(status);
  return true;
}

// ---- Standard output -------------------------------------------------------------------------
//
// Both levels move: the C runtime's descriptor 1 and the process's standard output handle, which
// code writing with WriteFile(GetStdHandle(...)) uses.

int qk_platform_stdout_divert() {
  std::fflush(stdout);
  const int saved = _dup(1);
  if (saved < 0) return -1;
  if (_dup2(2, 1) < 0) {
    _close(saved);
    return -1;
  }
  SetStdHandle(STD_OUTPUT_HANDLE, GetStdHandle(STD_ERROR_HANDLE));
  return saved;
}

void qk_platform_stdout_restore(int token) {
  if (token < 0) return;
  std::fflush(stdout);
  _dup2(token, 1);
  _close(token);
  SetStdHandle(STD_OUTPUT_HANDLE, reinterpret_cast<HANDLE>(_get_osfhandle(1)));
}
