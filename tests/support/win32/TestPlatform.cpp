// The tests' system calls on Windows.
#include "TestPlatform.h"

#include <windows.h>
#include <winternl.h>

#include <cstdlib>
#include <string>
#include <string_view>

namespace {

std::wstring wide(const char* text) {
  const int units = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
  std::wstring out(size_t(units > 0 ? units : 1), L'\0');
  if (units > 0) MultiByteToWideChar(CP_UTF8, 0, text, -1, out.data(), units);
  out.resize(out.size() - 1);
  return out;
}

}  // namespace

// The C runtime keeps a copy of the environment: both are set. An empty value removes the
// runtime's variable, so the system's is set last.
void qk_test_setenv(const char* name, const char* value) {
  const std::wstring wide_name = wide(name), wide_value = wide(value);
  _wputenv_s(wide_name.c_str(), wide_value.c_str());
  SetEnvironmentVariableW(wide_name.c_str(), wide_value.c_str());
}

void qk_test_unsetenv(const char* name) {
  const std::wstring wide_name = wide(name);
  _wputenv_s(wide_name.c_str(), L"");
  SetEnvironmentVariableW(wide_name.c_str(), nullptr);
}

bool qk_test_set_file_time(const std::string& path, time_t seconds) {
  const HANDLE file = CreateFileW(wide(path.c_str()).c_str(), FILE_WRITE_ATTRIBUTES,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  // 100-nanosecond units since 1601-01-01.
  const uint64_t ticks = (uint64_t(seconds) + 11644473600ull) * 10000000ull;
  FILETIME time{DWORD(ticks), DWORD(ticks >> 32)};
  const bool set = SetFileTime(file, nullptr, &time, &time) != 0;
  CloseHandle(file);
  return set;
}

namespace {

template <class Function>
Function kernel_function(const char* name) {
  const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
  return kernel ? reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(kernel, name)))
                : nullptr;
}

}  // namespace

std::string qk_test_thread_name() {
  using Get = HRESULT(WINAPI*)(HANDLE, PWSTR*);
  static const Get get = kernel_function<Get>("GetThreadDescription");
  PWSTR name = nullptr;
  if (!get || FAILED(get(GetCurrentThread(), &name)) || !name) return "";
  char narrow[64] = {};
  WideCharToMultiByte(CP_UTF8, 0, name, -1, narrow, sizeof narrow - 1, nullptr, nullptr);
  LocalFree(name);
  return narrow;
}

void qk_test_set_thread_name(const char* name) {
  using Set = HRESULT(WINAPI*)(HANDLE, PCWSTR);
  static const Set set = kernel_function<Set>("SetThreadDescription");
  if (set) set(GetCurrentThread(), wide(name).c_str());
}

tm qk_test_utc(time_t seconds) {
  tm broken{};
  const __time64_t t = seconds;
  _gmtime64_s(&broken, &t);
  return broken;
}

// The handles of the type "File" (disk files, pipes, devices), as POSIX's descriptors are: events,
// sections, keys and threads, which the system and the core keep or pool on their own, don't
// count. Every possible handle value of the table's first pages is asked, as Wine answers
// GetProcessHandleCount with 0 whatever is open.
int qk_test_open_handle_count() {
  using Query = LONG(NTAPI*)(HANDLE, OBJECT_INFORMATION_CLASS, PVOID, ULONG, PULONG);
  static const Query query = reinterpret_cast<Query>(
      reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQueryObject")));
  int open = 0;
  DWORD flags = 0;
  alignas(8) unsigned char type[1024];
  for (uintptr_t value = 4; value < 0x10000; value += 4) {
    const HANDLE handle = reinterpret_cast<HANDLE>(value);
    if (!GetHandleInformation(handle, &flags) || !query) continue;
    if (query(handle, ObjectTypeInformation, type, sizeof type, nullptr) < 0) continue;
    const UNICODE_STRING& name = reinterpret_cast<const PUBLIC_OBJECT_TYPE_INFORMATION*>(type)->TypeName;
    if (std::wstring_view(name.Buffer, name.Length / sizeof(wchar_t)) == L"File") ++open;
  }
  return open;
}

int qk_test_error(qk_test_failure failure) {
  switch (failure) {
    case qk_test_failure::missing_file: return ERROR_FILE_NOT_FOUND;
    case qk_test_failure::missing_folder: return ERROR_PATH_NOT_FOUND;
    case qk_test_failure::folder_as_file: return ERROR_ACCESS_DENIED;
    case qk_test_failure::wrong_direction: return ERROR_ACCESS_DENIED;
    case qk_test_failure::negative_seek: return ERROR_NEGATIVE_SEEK;
  }
  return 0;
}

bool qk_test_open_files_can_be_removed() { return false; }

int qk_test_self_join_error() { return ERROR_POSSIBLE_DEADLOCK; }

int qk_test_shell_status(int exit_code) { return exit_code; }

// Wine's CreateSymbolicLinkW answers success and makes nothing: the link must be there after.
bool qk_test_folder_link(const char* target, const char* link) {
  const std::wstring name = wide(link);
  if (!CreateSymbolicLinkW(name.c_str(), wide(target).c_str(),
                           SYMBOLIC_LINK_FLAG_DIRECTORY | SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE))
    return false;
  const DWORD attributes = GetFileAttributesW(name.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}
