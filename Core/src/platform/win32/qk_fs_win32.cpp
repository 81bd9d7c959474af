// Win32 implementation of the path operations of platform/qk_fs.h: delete, move, folders, stat,
// folder walks, drives, full paths, lock files and error texts. The recycle bin and the shell's
// opener are in qk_fs_win32_shell.cpp.
#include <cstring>
#include <string>

#include "platform/qk_fs.h"
#include "platform/win32/Win32Path.h"
#include "qk_log.h"
#include "qk_text.h"

using qk_win32::Win32Path;

// ---- Shared helpers --------------------------------------------------------------------------

namespace qk_win32 {

std::string utf8_of(const wchar_t* text, size_t units, size_t limit) {
  if (units == 0) return std::string();
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, text, int(units), nullptr, 0, nullptr, nullptr);
  if (bytes <= 0) return std::string();
  std::string out(size_t(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, int(units), &out[0], bytes, nullptr, nullptr);
  if (out.size() > limit) {
    size_t cut = limit;
    while (cut > 0 && (static_cast<unsigned char>(out[cut]) & 0xC0) == 0x80) --cut;  // a character's start
    out.resize(cut);
  }
  return out;
}

time_t time_of(const FILETIME& when) {
  SYSTEMTIME utc, local;
  TIME_ZONE_INFORMATION zone;
  if (!FileTimeToSystemTime(&when, &utc)) return 0;
  if (GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID) return 0;
  if (!SystemTimeToTzSpecificLocalTime(&zone, &utc, &local)) return 0;
  tm broken{};
  broken.tm_year = local.wYear - 1900;
  broken.tm_mon = local.wMonth - 1;
  broken.tm_mday = local.wDay;
  broken.tm_hour = local.wHour;
  broken.tm_min = local.wMinute;
  broken.tm_sec = local.wSecond;
  broken.tm_isdst = -1;
  const __time64_t result = _mktime64(&broken);
  return result == -1 ? 0 : time_t(result);
}

fs_entry entry_of(DWORD attributes, DWORD size_high, DWORD size_low, const FILETIME& written) {
  fs_entry entry;
  const bool directory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  entry.size = directory ? 0 : uint64_t(size_high) << 32 | size_low;
  entry.kind = directory ? 2 : 1;
  entry.modification_time = time_of(written);
  return entry;
}

void log_failure(const char* operation, std::string_view path, DWORD code) {
  const std::string text = qk_system_error_text(int(code));
  qk_log(QKCORESTATIC, qk::log::ERROR, "Failed to %s %.*s: %s", operation, int(path.size()), path.data(),
         text.c_str());
}

}  // namespace qk_win32

namespace {

using qk_win32::log_failure;

// The full path of `path` into `full` (MAX_PATH units with the terminator): 0, or why it can't be
// made (ERROR_FILENAME_EXCED_RANGE when it doesn't fit).
DWORD full_path_of(const Win32Path& path, wchar_t (&full)[MAX_PATH], DWORD& units) {
  if (path.error()) return path.error();
  units = GetFullPathNameW(path.c_str(), MAX_PATH, full, nullptr);
  if (units == 0) return GetLastError();
  if (units >= MAX_PATH) return ERROR_FILENAME_EXCED_RANGE;
  return 0;
}

bool is_separator(char c) { return c == '\\' || c == '/'; }

}  // namespace

// ---- Error texts -----------------------------------------------------------------------------

std::string qk_system_error_text(int code) {
  // The system's message keeps its line break. Inserts ("%1") stay as they are: there are no
  // arguments to put in them.
  wchar_t buffer[1024] = L"? Error";
  FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, DWORD(code), 0, buffer,
                 DWORD(std::size(buffer)), nullptr);
  return qk_to_utf8(qk_win32::core_text(buffer));
}

qk_platform_error qk_error_not_found() { return ERROR_FILE_NOT_FOUND; }
qk_platform_error qk_error_invalid_argument() { return ERROR_INVALID_PARAMETER; }

// ---- Files and folders -----------------------------------------------------------------------

bool qk_fs_delete_to_recycle_bin(std::string_view path);  // qk_fs_win32_shell.cpp

bool qk_fs_delete(std::string_view path, bool to_recycle_bin) {
  if (to_recycle_bin) return qk_fs_delete_to_recycle_bin(path);
  const Win32Path name(path);
  if (!name.error() && DeleteFileW(name.c_str())) return true;
  const DWORD code = name.error() ? name.error() : GetLastError();
  if (code != ERROR_FILE_NOT_FOUND) log_failure("delete", path, code);
  return false;
}

bool qk_fs_move(std::string_view old_path, std::string_view new_path) {
  const Win32Path from(old_path), to(new_path);
  DWORD code = from.error() ? from.error() : to.error();
  if (code == 0 && MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
    return true;
  if (code == 0) code = GetLastError();
  const std::string text = qk_system_error_text(int(code));
  qk_log(QKCORESTATIC, qk::log::ERROR, "Failed to move %.*s to %.*s: %s", int(old_path.size()),
         old_path.data(), int(new_path.size()), new_path.data(), text.c_str());
  return false;
}

bool qk_fs_mkdir(std::string_view path) {
  const Win32Path name(path);
  wchar_t full[MAX_PATH];
  DWORD units = 0;
  DWORD code = full_path_of(name, full, units);
  if (code == 0 && !CreateDirectoryW(full, nullptr)) code = GetLastError();
  if (code == 0 || code == ERROR_ALREADY_EXISTS) return true;
  log_failure("mkdir", path, code);
  return false;
}

bool qk_fs_rmdir(std::string_view path, bool quiet_if_not_empty) {
  const Win32Path name(path);
  wchar_t full[MAX_PATH];
  DWORD units = 0;
  DWORD code = full_path_of(name, full, units);
  if (code == 0 && RemoveDirectoryW(full)) return true;
  if (code == 0) code = GetLastError();
  if (!(code == ERROR_DIR_NOT_EMPTY && quiet_if_not_empty)) log_failure("rmdir", path, code);
  return false;
}

bool qk_fs_stat(std::string_view path, fs_entry* entry) {
  const Win32Path name(path);
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (name.error() || name.size() == 0 || !GetFileAttributesExW(name.c_str(), GetFileExInfoStandard, &data))
    return false;
  *entry =
      qk_win32::entry_of(data.dwFileAttributes, data.nFileSizeHigh, data.nFileSizeLow, data.ftLastWriteTime);
  return true;
}

// ---- Folder walks ----------------------------------------------------------------------------

int64_t qk_fs_list(std::string_view path, qk_fs_list_callback callback, void* user) {
  std::string pattern(path.empty() ? std::string_view(".") : path);
  if (!is_separator(pattern.back()) && pattern.back() != ':') pattern += '\\';
  pattern += '*';
  const Win32Path name(pattern);
  if (name.error()) return -1;
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileExW(name.c_str(), FindExInfoBasic, &found, FindExSearchNameMatch,
                                         nullptr, FIND_FIRST_EX_LARGE_FETCH);
  if (search == INVALID_HANDLE_VALUE) return -1;
  int64_t count = 0;
  do {
    // Hidden and system entries are hidden, and so is a leading dot ("." and ".." with it).
    if (found.dwFileAttributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM)) continue;
    if (found.cFileName[0] == L'.') continue;
    const std::string entry_name = qk_win32::utf8_of(found.cFileName, wcslen(found.cFileName), 255);
    const fs_entry entry = qk_win32::entry_of(found.dwFileAttributes, found.nFileSizeHigh, found.nFileSizeLow,
                                              found.ftLastWriteTime);
    callback(user, path, entry_name, entry);
    ++count;
  } while (FindNextFileW(search, &found));
  FindClose(search);
  return count;
}

// ---- Drives and full paths -------------------------------------------------------------------

void qk_fs_drives(const std::function<void(qk::wstring_view root, qk::wstring_view label)>& callback) {
  const DWORD drives = GetLogicalDrives();
  for (int letter = 0; letter < 26; ++letter) {
    if (!(drives & (DWORD(1) << letter))) continue;
    const wchar_t root[] = {wchar_t(L'A' + letter), L':', L'\\', 0};
    // Only fixed drives are asked for their label: a removable or network drive may keep the
    // caller waiting for a disc or a server.
    wchar_t label[MAX_PATH + 1] = {};
    if (GetDriveTypeW(root) != DRIVE_FIXED ||
        !GetVolumeInformationW(root, label, MAX_PATH + 1, nullptr, nullptr, nullptr, nullptr, 0))
      label[0] = 0;
    callback(qk::wstring_view(qk_win32::core_text(root), 3), qk::wstring_view(qk_win32::core_text(label)));
  }
}

bool qk_fs_full_path(std::string_view path, const std::function<void(qk::wstring_view)>& callback) {
  const Win32Path name(path);
  wchar_t full[MAX_PATH];
  DWORD units = 0;
  if (name.size() == 0 || full_path_of(name, full, units) != 0) return false;
  callback(qk::wstring_view(qk_win32::core_text(full), units));
  return true;
}

// ---- Lock files ------------------------------------------------------------------------------

int qk_fs_create_temp(const char* path, qk_platform_file* handle) {
  handle->handle = -1;
  if (!path) return -1;
  const Win32Path name(path);
  if (name.error() || name.size() == 0) return -1;
  // No sharing: a second holder, here or in another process, is refused with a sharing
  // violation. The system removes the file when the last handle closes, at exit or after a crash
  // too; a file left by someone else's plain open is taken over, with ERROR_ALREADY_EXISTS.
  const HANDLE file = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_FLAG_DELETE_ON_CLOSE | FILE_ATTRIBUTE_TEMPORARY, nullptr);
  const DWORD code = GetLastError();
  if (file != INVALID_HANDLE_VALUE) handle->handle = reinterpret_cast<intptr_t>(file);
  return int(file == INVALID_HANDLE_VALUE || code == ERROR_ALREADY_EXISTS ? code : 0);
}

void qk_fs_close_temp(qk_platform_file handle) {
  if (handle.valid()) CloseHandle(reinterpret_cast<HANDLE>(handle.handle));
}
