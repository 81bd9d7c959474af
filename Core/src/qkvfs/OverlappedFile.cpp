#include "qkvfs/OverlappedFile.h"

#include "platform/qk_fs.h"
#include "qkvfs/FileFailure.h"

namespace qkvfs {

OverlappedFile::~OverlappedFile() {
  qk_platform_file file;
  file.handle = handle_.load(std::memory_order_acquire);
  if (file.valid()) qk_platform_close(file);
}

bool OverlappedFile::ensure_open() {
  if (is_open()) return true;
  qk_platform_error code = 0;
  const qk_platform_file file =
      qk_fs_open(path_, QK_FS_READ, QK_FS_OPEN_EXISTING, QK_FS_OVERLAPPED | QK_FS_RANDOM_ACCESS, &code);
  if (!file.valid()) {
    log_file_failure(path_, code, "CreateFile(OVERLAPPED)");
    return false;
  }
  intptr_t expected = -1;
  if (!handle_.compare_exchange_strong(expected, file.handle, std::memory_order_acq_rel))
    qk_platform_close(file);  // another thread opened it first
  return true;
}

size_t OverlappedFile::read_at(uint64_t offset, void* buffer, size_t size) {
  qk_platform_file file;
  file.handle = handle_.load(std::memory_order_acquire);
  if (!file.valid()) return 0;
  size_t done = 0;
  const qk_platform_error code = qk_platform_read_at(file, offset, buffer, size, done);
  if (code)
    log_file_failure(path_, code, "GetOverlappedResult(%d)", int(size));
  else if (done == 0 && size != 0)
    log_file_failure_text(path_, "End of file", "GetOverlappedResult(%d)", int(size));
  return done;
}

bool OverlappedFile::size(uint64_t& out) const {
  qk_platform_file file;
  file.handle = handle_.load(std::memory_order_acquire);
  return file.valid() && qk_platform_size(file, out) == 0;
}

}  // namespace qkvfs
