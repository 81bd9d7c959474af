// Win32 implementation of the whole-file replacement of platform/qk_fs.h: a hidden temporary file
// made with CREATE_NEW beside the target, FlushFileBuffers, the old file's attributes, and
// MoveFileExW over the target with MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH.
#include <string>

#include "platform/TemporaryName.h"
#include "platform/qk_fs.h"
#include "platform/win32/Win32Path.h"

using qk_win32::Win32Path;

namespace {

// ".NAME.XXXXXXXX.tmp" adds 14 bytes to the name; a folder entry holds at most 255 units.
constexpr size_t kTemporaryExtra = 14;
constexpr size_t kNameMax = 255;
constexpr int kNameAttempts = 64;

// What the new file takes of the old one's attributes.
constexpr DWORD kKeptAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                  FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;

HANDLE handle_of(qk_platform_file file) { return reinterpret_cast<HANDLE>(file.handle); }

std::string unique_suffix() { return qk_fs_unique_suffix(uint64_t(GetCurrentProcessId())); }

// What the name of an existing target is: its attributes, whether it is a file on a disk (not a
// device such as NUL or a pipe), and the file a link names. Opens it without access rights, which
// no sharing mode refuses. 0, ERROR_FILE_NOT_FOUND for a new name, or the system's error.
struct TargetInfo {
  DWORD attributes = 0;
  bool on_disk = true;
  std::string destination;  // a link's destination; empty when the name isn't a link
};

DWORD inspect_target(const Win32Path& name, TargetInfo& info) {
  const DWORD named = GetFileAttributesW(name.c_str());
  const HANDLE handle = CreateFileW(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return GetLastError();
  info.on_disk = GetFileType(handle) == FILE_TYPE_DISK;
  BY_HANDLE_FILE_INFORMATION data;
  info.attributes = info.on_disk && GetFileInformationByHandle(handle, &data) ? data.dwFileAttributes : 0;
  if (named != INVALID_FILE_ATTRIBUTES && (named & FILE_ATTRIBUTE_REPARSE_POINT)) {
    wchar_t final_path[MAX_PATH + 4];
    const DWORD units = GetFinalPathNameByHandleW(handle, final_path, MAX_PATH + 4, FILE_NAME_NORMALIZED);
    if (units > 0 && units < MAX_PATH + 4) {
      const bool prefixed = units >= 4 && wcsncmp(final_path, L"\\\\?\\", 4) == 0;
      const wchar_t* text = prefixed ? final_path + 4 : final_path;
      info.destination = qk_win32::utf8_of(text, units - (prefixed ? 4 : 0));
    }
  }
  CloseHandle(handle);
  return 0;
}

// Makes the hidden temporary file beside `target` with CREATE_NEW: its handle, or
// INVALID_HANDLE_VALUE with `error` set.
HANDLE make_temporary(const std::string& target, std::string& temporary, DWORD& error) {
  const size_t slash = target.find_last_of("\\/:");
  const std::string folder = slash == std::string::npos ? std::string() : target.substr(0, slash + 1);
  std::string name = slash == std::string::npos ? target : target.substr(slash + 1);
  if (name.size() + kTemporaryExtra > kNameMax) {
    size_t cut = kNameMax - kTemporaryExtra;
    while (cut > 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80) --cut;  // a character's start
    name.resize(cut);
  }
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    temporary = folder + "." + name + "." + unique_suffix() + ".tmp";
    const Win32Path path(temporary);
    if (path.error()) {
      error = path.error();
      return INVALID_HANDLE_VALUE;
    }
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_TEMPORARY, nullptr);
    if (file != INVALID_HANDLE_VALUE) return file;
    error = GetLastError();
    if (error != ERROR_FILE_EXISTS && error != ERROR_ALREADY_EXISTS) return file;
  }
  error = ERROR_FILE_EXISTS;
  return INVALID_HANDLE_VALUE;
}

// Puts the temporary file over the target with the attributes it is to keep. A read-only target
// can't be replaced as it stands, so the attribute comes off it for the move, goes back on it if
// the move fails, and goes onto the new file after. 0 or the system's error.
DWORD move_over(const Win32Path& from, const Win32Path& to, DWORD old_attributes, bool existed) {
  const DWORD kept = existed ? old_attributes & kKeptAttributes : 0;
  const DWORD without_read_only = kept & ~DWORD(FILE_ATTRIBUTE_READONLY);
  if (!SetFileAttributesW(from.c_str(), without_read_only ? without_read_only : FILE_ATTRIBUTE_NORMAL))
    return GetLastError();
  const bool read_only = (kept & FILE_ATTRIBUTE_READONLY) != 0;
  if (read_only &&
      !SetFileAttributesW(to.c_str(), without_read_only ? without_read_only : FILE_ATTRIBUTE_NORMAL))
    return GetLastError();
  if (!MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    const DWORD error = GetLastError();
    if (read_only) SetFileAttributesW(to.c_str(), old_attributes);
    return error;
  }
  if (read_only) SetFileAttributesW(to.c_str(), kept);
  return 0;
}

}  // namespace

qk_platform_error qk_fs_replace_begin(std::string_view path, qk_fs_replacement& replacement) {
  replacement = qk_fs_replacement();
  const Win32Path name(path);
  if (name.error()) return qk_platform_error(name.error());
  if (path.empty()) return ERROR_PATH_NOT_FOUND;

  TargetInfo info;
  const DWORD found = inspect_target(name, info);
  if (found != 0 && found != ERROR_FILE_NOT_FOUND) return qk_platform_error(found);
  const bool exists = found == 0;
  replacement.target = info.destination.empty() ? std::string(path) : info.destination;
  // A folder is refused as the system refuses to open one for writing.
  if (exists && (info.attributes & FILE_ATTRIBUTE_DIRECTORY)) return ERROR_ACCESS_DENIED;
  if (exists && !info.on_disk) {
    qk_platform_error error = 0;
    replacement.file = qk_fs_open(replacement.target, QK_FS_WRITE, QK_FS_OPEN_EXISTING, 0, &error);
    return error;
  }

  DWORD error = 0;
  const HANDLE file = make_temporary(replacement.target, replacement.temporary, error);
  if (file == INVALID_HANDLE_VALUE) {
    replacement.temporary.clear();
    return qk_platform_error(error);
  }
  replacement.file.handle = reinterpret_cast<intptr_t>(file);
  return 0;
}

qk_platform_error qk_fs_replace_commit(qk_fs_replacement& replacement) {
  if (!replacement.file.valid()) return ERROR_INVALID_HANDLE;
  const HANDLE file = handle_of(replacement.file);
  replacement.file = qk_platform_file();
  if (replacement.temporary.empty()) {
    // A device or a pipe written in place: its errors came with the writes; it may not flush at all.
    FlushFileBuffers(file);
    return CloseHandle(file) ? 0 : qk_platform_error(GetLastError());
  }
  DWORD error = FlushFileBuffers(file) ? 0 : GetLastError();
  if (!CloseHandle(file) && error == 0) error = GetLastError();
  if (error == 0) {
    const Win32Path from(replacement.temporary), to(replacement.target);
    error = from.error() ? from.error() : to.error();
    // The old file's attributes as they are now, so that a change meanwhile isn't undone.
    const DWORD now = error == 0 ? GetFileAttributesW(to.c_str()) : INVALID_FILE_ATTRIBUTES;
    const bool exists = now != INVALID_FILE_ATTRIBUTES;
    if (error == 0) error = move_over(from, to, exists ? now : 0, exists);
  }
  if (error != 0) {
    qk_fs_replace_abandon(replacement);
    return qk_platform_error(error);
  }
  replacement.temporary.clear();
  return 0;
}

void qk_fs_replace_abandon(qk_fs_replacement& replacement) {
  if (replacement.file.valid()) CloseHandle(handle_of(replacement.file));
  replacement.file = qk_platform_file();
  if (!replacement.temporary.empty()) {
    const Win32Path name(replacement.temporary);
    if (!name.error()) DeleteFileW(name.c_str());
    replacement.temporary.clear();
  }
}
