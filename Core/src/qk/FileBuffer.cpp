#include "qk/FileBuffer.h"

#include "platform/qk_fs.h"
#include "qk/EmptyBuffer.h"
#include "qkvfs/MappedFileBuffer.h"

qk::RefPtr<qk::IBuffer> qk_load_file_buffer(std::string_view path, bool& opened, bool alwaysMap) {
  opened = false;
  qk_platform_file file = qk_fs_open(path, QK_FS_READ, QK_FS_OPEN_EXISTING, 0);
  if (!file.valid()) return nullptr;
  opened = true;

  uint64_t size = 0;
  if (qk_platform_size(file, size) != 0 || size == 0) {
    qk_platform_close(file);
    return qk::EmptyBuffer::instance();
  }

  if (!alwaysMap && size < qk::kFileMapThreshold) {
    qk::RefPtr<qk::MemBuffer> buffer = qk::MemBuffer::create(size_t(size));
    if (buffer && buffer->size() == size) {
      // One read of the whole size, as a file below the threshold comes in one piece.
      const int64_t got = qk_platform_read(file, buffer->mutableData(), size_t(size));
      if (got == int64_t(size)) {
        qk_platform_close(file);
        return qk::RefPtr<qk::IBuffer>(std::move(buffer));
      }
    }
    return nullptr;  // the descriptor stays open, as described in the header
  }

  qk_platform_mapping mapping;
  if (qk_platform_mapping_create(file, size, mapping) != 0) {
    qk_platform_close(file);
    return nullptr;
  }
  return qkvfs::MappedFileBuffer::create(file, mapping, size_t(size));
}

qk::RefPtr<qk::IBuffer> qk_fs_read_into(std::string_view path, qk::RefPtr<qk::MemBuffer>& reusable) {
  qk_platform_file file = qk_fs_open(path, QK_FS_READ, QK_FS_OPEN_EXISTING, QK_FS_SEQUENTIAL_SCAN);
  if (!file.valid()) return nullptr;
  uint64_t size = 0;
  qk::RefPtr<qk::MemBuffer> buffer;
  size_t done = 0;
  bool whole = false;
  if (qk_platform_size(file, size) == 0 && size <= uint64_t(SIZE_MAX)) {
    buffer = qk::MemBuffer::reuse(reusable, size_t(size));
    whole = buffer && buffer->size() == size &&
            qk_platform_read_fully(file, buffer->mutableData(), size_t(size), done) == 0 && done == size;
  }
  qk_platform_close(file);
  if (!whole) return nullptr;
  return qk::RefPtr<qk::IBuffer>(std::move(buffer));
}
