// POSIX implementation of the path operations of platform/qk_fs.h: delete, move, folders, stat,
// folder walks, full paths, lock files, the desktop's opener and error texts.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/posix/PosixPath.h"
#include "platform/qk_fs.h"
#include "qk_log.h"

extern char** environ;

using qk_posix::PosixPath;
using qk_posix::retry_interrupted;

namespace {

// ---- Failure lines ---------------------------------------------------------------------------

void log_failure(const char* operation, std::string_view path, int code) {
  const std::string text = qk_system_error_text(code);
  qk_log(QKCORESTATIC, qk::log::ERROR, "Failed to %s %.*s: %s", operation, int(path.size()), path.data(),
         text.c_str());
}

// The text of strerror_r in either of its two forms (GNU's answers the text, XSI's fills the buffer).
[[maybe_unused]] const char* error_text_of(const char* gnu_result, const char*) { return gnu_result; }
[[maybe_unused]] const char* error_text_of(int xsi_result, const char* buffer) {
  return xsi_result == 0 ? buffer : nullptr;
}

// ---- Times -----------------------------------------------------------------------------------

// The file time through local time and back, as the platform's calendar functions do it: the local
// calendar time with daylight saving left to mktime. 0 when a step fails.
time_t through_local_time(time_t seconds) {
  qk_platform_calendar local;
  if (!qk_platform_local_time(int64_t(seconds), local)) return 0;
  tm broken{};
  broken.tm_year = local.year;
  broken.tm_mon = local.month;
  broken.tm_mday = local.day;
  broken.tm_hour = local.hour;
  broken.tm_min = local.minute;
  broken.tm_sec = local.second;
  broken.tm_isdst = -1;
  const time_t result = mktime(&broken);
  return result == time_t(-1) ? 0 : result;
}

fs_entry entry_of(const struct stat& st) {
  fs_entry entry;
  const bool directory = S_ISDIR(st.st_mode);
  entry.size = directory ? 0 : uint64_t(st.st_size);
  entry.kind = directory ? 2 : 1;
  entry.modification_time = through_local_time(st.st_mtime);
  return entry;
}

// ---- Full paths ------------------------------------------------------------------------------

// The absolute form of `path` made by text alone into `full` (terminated), its length in `length`:
// behind the working directory unless it begins with "/", "." and empty parts dropped, ".." taking
// the part before it (never above "/"), a trailing "/" kept. 0, or why it can't be made: ENOENT for
// an empty path (the system's answer to an empty name), EINVAL for a zero byte inside,
// ENAMETOOLONG beyond PATH_MAX, or getcwd's error.
int full_path_text(std::string_view path, char (&full)[PATH_MAX], size_t& length) {
  length = 0;  // `full` holds "/part/part" without a trailing "/"; empty for the root
  if (path.empty()) return ENOENT;
  if (path.find('\0') != std::string_view::npos) return EINVAL;
  if (path.front() != '/') {
    if (!getcwd(full, sizeof full)) return errno;
    length = std::strlen(full);
    if (length == 1) length = 0;  // the root itself
  }
  for (std::string_view rest = path; !rest.empty();) {
    const size_t slash = rest.find('/');
    const std::string_view part = rest.substr(0, slash);
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
    if (part.empty() || part == ".") continue;
    if (part == "..") {
      while (length > 0 && full[length - 1] != '/') --length;
      if (length > 0) --length;
      continue;
    }
    if (length + 1 + part.size() >= sizeof full) return ENAMETOOLONG;
    full[length++] = '/';
    std::memcpy(full + length, part.data(), part.size());
    length += part.size();
  }
  if (length == 0 || path.back() == '/') {
    if (length + 1 >= sizeof full) return ENAMETOOLONG;
    full[length++] = '/';
  }
  full[length] = 0;
  return 0;
}

// ---- Lock files ------------------------------------------------------------------------------

// The lock files this process holds, so that closing removes them and exit removes the rest.
//
// An entry is the descriptor together with the device and inode of the file it was opened on. A
// descriptor number alone isn't enough: a lock handle closed the plain way frees its number, and a
// later file (a lock file or not) may get it. So a file is removed only while the descriptor still
// refers to the entry's file and the name still names that same file; a new lock on a reused number
// replaces the stale entry.
class TempFiles {
 public:
  ~TempFiles() {
    for (const Held& held : held_) {
      if (!refers_to(held.fd, held)) continue;  // closed the plain way: not ours any more
      unlink_if_named(held);
      close(held.fd);
    }
  }

  void add(int fd, const char* path) {
    struct stat st;
    if (fstat(fd, &st) != 0) return;
    std::lock_guard<std::mutex> guard(lock_);
    held_.erase(std::remove_if(held_.begin(), held_.end(), [fd](const Held& h) { return h.fd == fd; }),
                held_.end());
    held_.push_back({fd, st.st_dev, st.st_ino, path});
  }

  // Removes the file of `fd` if it is a lock file of this process; the caller closes `fd` after.
  void remove(int fd) {
    std::lock_guard<std::mutex> guard(lock_);
    auto found = std::find_if(held_.begin(), held_.end(), [fd](const Held& h) { return h.fd == fd; });
    if (found == held_.end()) return;
    // While the lock is still held, so that no new holder's file goes.
    if (refers_to(fd, *found)) unlink_if_named(*found);
    held_.erase(found);
  }

 private:
  struct Held {
    int fd;
    dev_t device;
    ino_t inode;
    std::string path;
  };

  static bool refers_to(int fd, const Held& held) {
    struct stat st;
    return fstat(fd, &st) == 0 && st.st_dev == held.device && st.st_ino == held.inode;
  }

  static void unlink_if_named(const Held& held) {
    struct stat st;
    if (stat(held.path.c_str(), &st) == 0 && st.st_dev == held.device && st.st_ino == held.inode)
      unlink(held.path.c_str());
  }

  std::mutex lock_;
  std::vector<Held> held_;
};

TempFiles& temp_files() {
  static TempFiles files;
  return files;
}

// One attempt to open and lock; answers the code for qk_fs_create_temp, or -2 to try again when
// the name was removed or replaced by its previous holder meanwhile.
int try_lock_file(const char* path, int& fd_out) {
  int existed = 0;
  int fd = retry_interrupted([&] { return open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644); });
  if (fd < 0 && errno == EEXIST) {
    existed = EEXIST;
    fd = retry_interrupted([&] { return open(path, O_WRONLY | O_CLOEXEC); });
    if (fd < 0 && errno == ENOENT) return -2;
  }
  if (fd < 0) return errno;
  if (retry_interrupted([&] { return flock(fd, LOCK_EX | LOCK_NB); }) != 0) {
    const int code = errno;
    close(fd);
    return code;
  }
  struct stat held, named;
  if (fstat(fd, &held) != 0 || stat(path, &named) != 0 || held.st_ino != named.st_ino ||
      held.st_dev != named.st_dev) {
    close(fd);
    return -2;
  }
  if (ftruncate(fd, 0) != 0) {
    const int code = errno;
    close(fd);
    return code;
  }
  fd_out = fd;
  return existed;
}

// ---- The desktop's opener --------------------------------------------------------------------

// Whether `path` begins with a URL scheme ("https:", "mailto:", "file:"): a letter, then letters,
// digits, "+", "-" or ".", then ":". One letter before the colon isn't a scheme but a drive.
bool has_url_scheme(std::string_view path) {
  const auto letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  const size_t colon = path.find(':');
  if (colon == std::string_view::npos || colon < 2 || !letter(path[0])) return false;
  for (size_t i = 1; i < colon; ++i) {
    const char c = path[i];
    if (!letter(c) && !(c >= '0' && c <= '9') && c != '+' && c != '-' && c != '.') return false;
  }
  return true;
}

// The first executable `name` in the folders of PATH, into `out`; false if there is none.
bool find_on_path(const char* name, std::string& out) {
  const char* path = std::getenv("PATH");
  if (!path) return false;
  for (std::string_view rest = path; !rest.empty();) {
    const size_t colon = rest.find(':');
    std::string_view folder = rest.substr(0, colon);
    rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
    if (folder.empty()) folder = ".";
    out.assign(folder).append("/").append(name);
    if (access(out.c_str(), X_OK) == 0) return true;
  }
  return false;
}

}  // namespace

// ---- Error texts -----------------------------------------------------------------------------

std::string qk_system_error_text(int code) {
  char buffer[1024] = {};
  const char* text = error_text_of(strerror_r(code, buffer, sizeof buffer), buffer);
  return text && *text ? std::string(text) : std::string("? Error");
}

qk_platform_error qk_error_not_found() { return ENOENT; }
qk_platform_error qk_error_invalid_argument() { return EINVAL; }

// ---- Files and folders -----------------------------------------------------------------------

bool qk_fs_delete(std::string_view path, bool to_recycle_bin) {
  if (to_recycle_bin) {
    log_failure("delete", path, ENOTSUP);
    return false;
  }
  const PosixPath name(path);
  const int result = name.error() ? -1 : unlink(name.c_str());
  if (result == 0) return true;
  const int code = name.error() ? name.error() : errno;
  if (code != ENOENT) log_failure("delete", path, code);
  return false;
}

bool qk_fs_move(std::string_view old_path, std::string_view new_path) {
  const PosixPath from(old_path), to(new_path);
  int code = from.error() ? from.error() : to.error();
  if (code == 0 && rename(from.c_str(), to.c_str()) == 0) return true;
  if (code == 0) code = errno;
  const std::string text = qk_system_error_text(code);
  qk_log(QKCORESTATIC, qk::log::ERROR, "Failed to move %.*s to %.*s: %s", int(old_path.size()),
         old_path.data(), int(new_path.size()), new_path.data(), text.c_str());
  return false;
}

// Both take the full path by text first, as the platform's folder calls do, so that ".." resolves
// lexically: "not-there/../made" makes "made" whether or not "not-there" exists.
bool qk_fs_mkdir(std::string_view path) {
  char full[PATH_MAX];
  size_t length = 0;
  int code = full_path_text(path, full, length);
  if (code == 0 && mkdir(full, 0777) != 0) code = errno;
  if (code == 0 || code == EEXIST) return true;
  log_failure("mkdir", path, code);
  return false;
}

bool qk_fs_rmdir(std::string_view path, bool quiet_if_not_empty) {
  char full[PATH_MAX];
  size_t length = 0;
  int code = full_path_text(path, full, length);
  if (code == 0 && rmdir(full) == 0) return true;
  if (code == 0) code = errno;
  const bool not_empty = code == ENOTEMPTY || code == EEXIST;
  if (!(not_empty && quiet_if_not_empty)) log_failure("rmdir", path, code);
  return false;
}

bool qk_fs_stat(std::string_view path, fs_entry* entry) {
  const PosixPath name(path);
  struct stat st;
  if (name.error() || stat(name.c_str(), &st) != 0) return false;
  *entry = entry_of(st);
  return true;
}

// ---- Folder walks ----------------------------------------------------------------------------

int64_t qk_fs_list(std::string_view path, qk_fs_list_callback callback, void* user) {
  const PosixPath name(path.empty() ? std::string_view(".") : path);
  if (name.error()) return -1;
  DIR* folder = opendir(name.c_str());
  if (!folder) return -1;
  const int fd = dirfd(folder);
  int64_t count = 0;
  while (const dirent* item = readdir(folder)) {
    if (item->d_name[0] == '.') continue;
    struct stat st;
    if (fstatat(fd, item->d_name, &st, 0) != 0 && fstatat(fd, item->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0)
      continue;  // gone since the folder was read
    const size_t length = std::min<size_t>(std::strlen(item->d_name), 255);
    callback(user, path, std::string_view(item->d_name, length), entry_of(st));
    ++count;
  }
  closedir(folder);
  return count;
}

void qk_fs_drives(const std::function<void(qk::wstring_view root, qk::wstring_view label)>& callback) {
  static const qk::wchar root[] = u"/";
  callback(qk::wstring_view(root, 1), qk::wstring_view());
}

// ---- Full paths ------------------------------------------------------------------------------

bool qk_fs_full_path(std::string_view path, const std::function<void(qk::wstring_view)>& callback) {
  char full[PATH_MAX];
  size_t length = 0;
  if (full_path_text(path, full, length) != 0) return false;
  qk::wchar wide[PATH_MAX];
  const int units = qk_platform_utf8_to_utf16(full, int(length), wide, PATH_MAX);
  if (units <= 0) return false;
  callback(qk::wstring_view(wide, size_t(units)));
  return true;
}

// ---- Lock files ------------------------------------------------------------------------------

int qk_fs_create_temp(const char* path, qk_platform_file* handle) {
  handle->handle = -1;
  const PosixPath name(path ? std::string_view(path) : std::string_view());
  if (!path || name.error()) return -1;
  // A few rounds at most: each retry means another holder removed or replaced the file meanwhile.
  for (int attempt = 0; attempt < 16; ++attempt) {
    int fd = -1;
    const int code = try_lock_file(name.c_str(), fd);
    if (code == -2) continue;
    if (fd >= 0) {
      temp_files().add(fd, name.c_str());
      handle->handle = fd;
    }
    return code;
  }
  return EAGAIN;
}

void qk_fs_close_temp(qk_platform_file handle) {
  if (!handle.valid()) return;
  temp_files().remove(int(handle.handle));
  close(int(handle.handle));
}

// ---- The desktop's opener --------------------------------------------------------------------

int qk_shell_open(std::string_view path) {
  const PosixPath target(path);
  if (target.error()) return target.error();
  // A local file must exist, as the platform's shell call checks; a URL goes to the opener as it is.
  struct stat st;
  if (!has_url_scheme(path) && stat(target.c_str(), &st) != 0) return errno == ENOTDIR ? ENOENT : errno;
  std::string opener;
  if (!find_on_path("xdg-open", opener)) return ENOENT;
  // A shell starts the opener in the background and ends at once, so that nothing waits for the
  // desktop's application and no child is left unreaped.
  const char* argv[] = {"/bin/sh",      "-c",           "\"$0\" \"$1\" </dev/null >/dev/null 2>&1 &",
                        opener.c_str(), target.c_str(), nullptr};
  pid_t child = 0;
  const int code = posix_spawn(&child, argv[0], nullptr, nullptr, const_cast<char* const*>(argv), environ);
  if (code != 0) return code;
  int status = 0;
  if (retry_interrupted([&] { return waitpid(child, &status, 0); }) < 0) return errno;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : ECHILD;
}
