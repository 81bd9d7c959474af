// POSIX implementation of the handle calls and mappings of platform/qk_fs.h.
#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

#include "platform/posix/PosixPath.h"
#include "platform/qk_fs.h"

using qk_posix::PosixPath;
using qk_posix::retry_interrupted;

namespace {

// The most one call moves; Linux moves at most about 2 GiB per read or write anyway.
constexpr size_t kMaxTransfer = size_t(1) << 30;

int fd_of(qk_platform_file file) { return int(file.handle); }

}  // namespace

// ---- Opening ---------------------------------------------------------------------------------

qk_platform_file qk_fs_open(std::string_view path, unsigned access, unsigned disposition, unsigned flags,
                            qk_platform_error* error) {
  qk_platform_file file;
  const PosixPath name(path);
  int code = name.error();
  if (code == 0) {
    int mode = (access & QK_FS_WRITE) ? ((access & QK_FS_READ) ? O_RDWR : O_WRONLY) : O_RDONLY;
    if (disposition == QK_FS_CREATE_ALWAYS) mode |= O_CREAT | O_TRUNC;
    if (disposition == QK_FS_OPEN_ALWAYS) mode |= O_CREAT;
    // Without waiting for a writer, should the name be a pipe; regular files ignore the flag.
    const int fd = retry_interrupted([&] { return open(name.c_str(), mode | O_CLOEXEC | O_NONBLOCK, 0666); });
    struct stat st {};
    const bool stated = fd >= 0 && fstat(fd, &st) == 0;
    if (fd < 0) {
      code = errno;
    } else if (stated && S_ISDIR(st.st_mode)) {
      close(fd);  // a folder opens only for reading, and isn't a file
      code = EISDIR;
    } else {
      if (stated && !S_ISREG(st.st_mode)) fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
      file.handle = fd;
      if (flags & QK_FS_SEQUENTIAL_SCAN) posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
      if (flags & QK_FS_RANDOM_ACCESS) posix_fadvise(fd, 0, 0, POSIX_FADV_RANDOM);
    }
  }
  if (error) *error = code;
  return file;
}

// ---- Reading and writing ---------------------------------------------------------------------

qk_platform_error qk_platform_read_fully(qk_platform_file file, void* data, size_t size, size_t& done) {
  auto* out = static_cast<unsigned char*>(data);
  done = 0;
  while (done < size) {
    const size_t step = std::min(size - done, kMaxTransfer);
    const ssize_t n = retry_interrupted([&] { return read(fd_of(file), out + done, step); });
    if (n < 0) return errno;
    if (n == 0) break;
    done += size_t(n);
  }
  return 0;
}

qk_platform_error qk_platform_write_fully(qk_platform_file file, const void* data, size_t size,
                                          size_t& done) {
  const auto* in = static_cast<const unsigned char*>(data);
  done = 0;
  while (done < size) {
    const size_t step = std::min(size - done, kMaxTransfer);
    const ssize_t n = retry_interrupted([&] { return write(fd_of(file), in + done, step); });
    if (n < 0) return errno;
    if (n == 0) return EIO;
    done += size_t(n);
  }
  return 0;
}

qk_platform_error qk_platform_read_at(qk_platform_file file, uint64_t offset, void* data, size_t size,
                                      size_t& done) {
  auto* out = static_cast<unsigned char*>(data);
  done = 0;
  while (done < size) {
    if (offset + done > uint64_t(INT64_MAX)) return EINVAL;
    const size_t step = std::min(size - done, kMaxTransfer);
    const ssize_t n =
        retry_interrupted([&] { return pread(fd_of(file), out + done, step, off_t(offset + done)); });
    if (n < 0) return errno;
    if (n == 0) break;
    done += size_t(n);
  }
  return 0;
}

// ---- Position and size -----------------------------------------------------------------------

qk_platform_error qk_platform_seek(qk_platform_file file, int64_t offset, qk_seek_origin origin,
                                   uint64_t& position) {
  const int whence = origin == QK_SEEK_SET ? SEEK_SET : origin == QK_SEEK_CURRENT ? SEEK_CUR : SEEK_END;
  const off_t result = lseek(fd_of(file), off_t(offset), whence);
  if (result < 0) return errno;
  position = uint64_t(result);
  return 0;
}

qk_platform_error qk_platform_size(qk_platform_file file, uint64_t& size) {
  struct stat st;
  if (fstat(fd_of(file), &st) != 0) return errno;
  size = uint64_t(st.st_size);
  return 0;
}

qk_platform_error qk_platform_set_end(qk_platform_file file) {
  const off_t here = lseek(fd_of(file), 0, SEEK_CUR);
  if (here < 0) return errno;
  if (retry_interrupted([&] { return ftruncate(fd_of(file), here); }) != 0) return errno;
  return 0;
}

// ---- Mappings --------------------------------------------------------------------------------

qk_platform_error qk_platform_mapping_create(qk_platform_file file, uint64_t size,
                                             qk_platform_mapping& mapping) {
  mapping.handle = -1;
  if (!file.valid()) return EBADF;
  if (size > uint64_t(SIZE_MAX)) return EFBIG;
  mapping.handle = file.handle;
  return 0;
}

const void* qk_platform_map_view(qk_platform_mapping mapping, uint64_t size) {
  if (!mapping.valid() || size == 0 || size > uint64_t(SIZE_MAX)) return nullptr;
  void* view = mmap(nullptr, size_t(size), PROT_READ, MAP_SHARED, int(mapping.handle), 0);
  return view == MAP_FAILED ? nullptr : view;
}

void qk_platform_unmap_view(const void* view, uint64_t size) {
  if (view) munmap(const_cast<void*>(view), size_t(size));
}

void qk_platform_mapping_close(qk_platform_mapping) {}
