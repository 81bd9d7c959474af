#include "qkvfs/Drivers/DataProviders/WinFileRaw.h"

#include <cstdint>
#include <new>

#include "qk/MemBuffer.h"
#include "qkvfs/FileFailure.h"

namespace qkvfs {

qk::ObjectPool WinFileRaw::pool{"Core/src/qkvfs/Drivers/DataProviders/WinFileRaw", sizeof(WinFileRaw), 512};

// ---- Opening ---------------------------------------------------------------------------------

WinFileRaw::WinFileRaw(qk_platform_file file, std::atomic<uint64_t>* open_count, std::string_view path,
                       std::string_view vfs_name, const qk::MetadataMap* metadata)
    : file_(file), open_count_(open_count), path_(path), vfs_name_(vfs_name), metadata_(metadata) {
  if (open_count_) open_count_->fetch_add(1, std::memory_order_relaxed);
}

WinFileRaw::~WinFileRaw() {
  if (file_.valid()) qk_platform_close(file_);
  if (open_count_) open_count_->fetch_sub(1, std::memory_order_relaxed);
}

WinFileRaw* WinFileRaw::make(std::string_view path, unsigned access, unsigned disposition, unsigned flags,
                             const char* failure, bool silent, std::string_view vfs_name,
                             const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count) {
  qk_platform_error code = 0;
  const qk_platform_file file = qk_fs_open(path, access, disposition, flags, &code);
  if (!file.valid()) {
    if (!silent) log_file_failure(path, code, "%s", failure);
    return nullptr;
  }
  void* item = pool.acquire();
  if (!item) {
    qk_platform_close(file);
    return nullptr;
  }
  return new (item) WinFileRaw(file, open_count, path, vfs_name, metadata);
}

WinFileRaw* WinFileRaw::open_read(std::string_view path, bool silent) {
  return make(path, QK_FS_READ, QK_FS_OPEN_EXISTING, QK_FS_SEQUENTIAL_SCAN, "CreateFile(RO)", silent, path,
              nullptr, nullptr);
}

WinFileRaw* WinFileRaw::open_rewrite(std::string_view path) {
  WinFileRaw* file =
      make(path, QK_FS_WRITE, QK_FS_CREATE_ALWAYS, 0, "CreateFile(REWRITE)", false, {}, nullptr, nullptr);
  if (file) {
    if (const qk_platform_error code = qk_platform_set_end(file->file_))
      log_file_failure(path, code, "SetEndOfFile()");
  }
  return file;
}

WinFileRaw* WinFileRaw::open_append(std::string_view path) {
  WinFileRaw* file =
      make(path, QK_FS_WRITE, QK_FS_OPEN_ALWAYS, 0, "CreateFile(APPEND)", false, {}, nullptr, nullptr);
  uint64_t end = 0;
  if (file) {
    if (const qk_platform_error code = qk_platform_seek(file->file_, 0, QK_SEEK_END, end))
      log_file_failure(path, code, "SetFilePointerEx(END)");
  }
  return file;
}

WinFileRaw* WinFileRaw::open_for_driver(std::string_view path, std::string_view vfs_name,
                                        const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count,
                                        bool silent) {
  return make(path, QK_FS_READ, QK_FS_OPEN_EXISTING, QK_FS_SEQUENTIAL_SCAN, "CreateFile(RO)", silent,
              vfs_name.empty() ? path : vfs_name, metadata, open_count);
}

// ---- Reading and writing ---------------------------------------------------------------------

size_t WinFileRaw::read(void* buffer, size_t size) {
  size_t done = 0;
  if (const qk_platform_error code = qk_platform_read_fully(file_, buffer, size, done))
    log_file_failure(path_, code, "ReadFile(%d)", int(size));
  return done;
}

size_t WinFileRaw::write(const void* buffer, size_t size) {
  size_t done = 0;
  if (const qk_platform_error code = qk_platform_write_fully(file_, buffer, size, done))
    log_file_failure(path_, code, "WriteFile(%d)", int(size));
  return done;
}

uint64_t WinFileRaw::tell() {
  uint64_t position = 0;
  if (const qk_platform_error code = qk_platform_seek(file_, 0, QK_SEEK_CURRENT, position)) {
    log_file_failure(path_, code, "SetFilePointerEx(+0)");
    return 0;
  }
  return position;
}

bool WinFileRaw::seek(uint64_t position) {
  uint64_t now = 0;
  const qk_platform_error code = position > uint64_t(INT64_MAX)
                                     ? qk_error_invalid_argument()
                                     : qk_platform_seek(file_, int64_t(position), QK_SEEK_SET, now);
  if (code) log_file_failure(path_, code, "SetFilePointerEx(%lld)", static_cast<long long>(position));
  return code == 0;
}

bool WinFileRaw::skip(int64_t count) {
  uint64_t now = 0;
  if (const qk_platform_error code = qk_platform_seek(file_, count, QK_SEEK_CURRENT, now)) {
    log_file_failure(path_, code, "SetFilePointerEx(%lld)", static_cast<long long>(count));
    return false;
  }
  return true;
}

uint64_t WinFileRaw::size() {
  uint64_t bytes = 0;
  if (const qk_platform_error code = qk_platform_size(file_, bytes)) {
    log_file_failure(path_, code, "GetFileSizeEx()");
    return 0;
  }
  return bytes;
}

qk::RefPtr<qk::IBuffer> WinFileRaw::buffer() {
  const uint64_t bytes = size();
  if (bytes > uint64_t(SIZE_MAX)) return nullptr;
  qk::RefPtr<qk::MemBuffer> whole = qk::MemBuffer::create(size_t(bytes));
  if (!whole || whole->size() != bytes) return nullptr;
  uint64_t kept = 0;
  if (const qk_platform_error code = qk_platform_seek(file_, 0, QK_SEEK_CURRENT, kept)) {
    log_file_failure(path_, code, "SetFilePointerEx(+0)");
    kept = 0;
  }
  seek(0);
  const size_t got = bytes ? read(whole->mutableData(), size_t(bytes)) : 0;
  seek(kept);
  whole->resize(got);
  return qk::RefPtr<qk::IBuffer>(std::move(whole));
}

// ---- Life and metadata -----------------------------------------------------------------------

void WinFileRaw::release() {
  this->~WinFileRaw();
  pool.release(this);
}

bool WinFileRaw::meta_string(const char* key, const char*& out) {
  return qk::metadataGetString(metadata_, key, out);
}

bool WinFileRaw::meta_float(const char* key, double& out) {
  return qk::metadataGetFloat(metadata_, key, out);
}

bool WinFileRaw::meta_integer(const char* key, int64_t& out) {
  return qk::metadataGetInt(metadata_, key, out);
}

}  // namespace qkvfs

qkvfs::WinFileRaw* qk_fs_open_raw(std::string_view path, std::string_view vfs_name,
                                  const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count) {
  return qkvfs::WinFileRaw::open_for_driver(path, vfs_name, metadata, open_count, true);
}
