// POSIX implementation of the whole-file replacement of platform/qk_fs.h: a temporary file made with
// O_EXCL beside the target, fsync, rename over the target, fsync of the folder.
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "platform/TemporaryName.h"
#include "platform/posix/PosixPath.h"
#include "platform/qk_fs.h"

using qk_posix::PosixPath;
using qk_posix::retry_interrupted;

namespace {

// ".NAME.XXXXXXXX.tmp" adds 14 bytes to the name; a folder entry holds at most NAME_MAX.
constexpr size_t kTemporaryExtra = 14;
constexpr int kNameAttempts = 64;

int fd_of(qk_platform_file file) { return int(file.handle); }

std::string unique_suffix() { return qk_fs_unique_suffix(uint64_t(getpid())); }

// The file a path names, a link followed to its destination (a dangling link is replaced itself).
std::string destination_of(const PosixPath& path) {
  struct stat st {};
  if (lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return path.c_str();
  char* resolved = realpath(path.c_str(), nullptr);
  if (!resolved) return path.c_str();
  std::string out(resolved);
  std::free(resolved);
  return out;
}

// Makes the temporary file beside `target` with O_EXCL; answers the descriptor or -1 with errno.
int make_temporary(const std::string& target, std::string& temporary) {
  const size_t slash = target.rfind('/');
  const std::string folder = slash == std::string::npos ? std::string() : target.substr(0, slash + 1);
  std::string name = slash == std::string::npos ? target : target.substr(slash + 1);
  if (name.size() + kTemporaryExtra > NAME_MAX) name.resize(NAME_MAX - kTemporaryExtra);
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    temporary = folder + "." + name + "." + unique_suffix() + ".tmp";
    const PosixPath path(temporary);
    if (path.error()) {
      errno = path.error();
      return -1;
    }
    const int fd = retry_interrupted(
        [&] { return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666); });
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  errno = EEXIST;
  return -1;
}

// Flushes the folder that holds `path`, so that the rename itself survives a crash. A failure
// changes nothing for the caller: the file is in place either way.
void sync_folder_of(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
  const PosixPath name(folder);
  if (name.error()) return;
  const int fd = open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  fsync(fd);
  close(fd);
}

}  // namespace

qk_platform_error qk_fs_replace_begin(std::string_view path, qk_fs_replacement& replacement) {
  replacement = qk_fs_replacement();
  const PosixPath name(path);
  if (name.error()) return name.error();
  if (path.empty()) return ENOENT;
  replacement.target = destination_of(name);

  const PosixPath target(replacement.target);
  if (target.error()) return target.error();
  struct stat st {};
  const bool exists = stat(target.c_str(), &st) == 0;
  if (!exists && errno != ENOENT) return errno;
  if (exists && S_ISDIR(st.st_mode)) return EISDIR;
  if (exists && !S_ISREG(st.st_mode)) {
    qk_platform_error error = 0;
    replacement.file = qk_fs_open(replacement.target, QK_FS_WRITE, QK_FS_OPEN_EXISTING, 0, &error);
    return error;
  }

  const int fd = make_temporary(replacement.target, replacement.temporary);
  if (fd < 0) {
    const int error = errno;
    replacement.temporary.clear();
    return error;
  }
  replacement.file.handle = fd;
  // The old file's permission bits; failing that, the new file keeps 0666 less the umask.
  if (exists) fchmod(fd, st.st_mode & 07777);
  return 0;
}

qk_platform_error qk_fs_replace_commit(qk_fs_replacement& replacement) {
  if (!replacement.file.valid()) return EBADF;
  const int fd = fd_of(replacement.file);
  replacement.file = qk_platform_file();
  if (replacement.temporary.empty()) {
    // A device or a pipe written in place: its errors came with the writes; it may not sync at all.
    const int synced = fsync(fd) == 0 ? 0 : errno;
    const int closed = close(fd) == 0 ? 0 : errno;
    if (synced != 0 && synced != EINVAL && synced != EROFS) return synced;
    return closed == EINTR ? 0 : closed;
  }
  int error = fsync(fd) == 0 ? 0 : errno;
  if (close(fd) != 0 && error == 0 && errno != EINTR) error = errno;
  if (error == 0) {
    const PosixPath from(replacement.temporary), to(replacement.target);
    error = from.error() ? from.error() : to.error();
    if (error == 0 && rename(from.c_str(), to.c_str()) != 0) error = errno;
  }
  if (error != 0) {
    qk_fs_replace_abandon(replacement);
    return error;
  }
  replacement.temporary.clear();
  sync_folder_of(replacement.target);
  return 0;
}

void qk_fs_replace_abandon(qk_fs_replacement& replacement) {
  if (replacement.file.valid()) close(fd_of(replacement.file));
  replacement.file = qk_platform_file();
  if (!replacement.temporary.empty()) {
    const PosixPath name(replacement.temporary);
    if (!name.error()) unlink(name.c_str());
    replacement.temporary.clear();
  }
}
