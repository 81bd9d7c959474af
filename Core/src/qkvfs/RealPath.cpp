#include "qkvfs/RealPath.h"

#include "qk/FileBuffer.h"
#include "qk_log.h"
#include "qkvfs/Drivers/DataProviders/WinFileRaw.h"
#include "qkvfs/MemReader.h"

namespace {

bool is_virtual(std::string_view path) { return !path.empty() && path.front() == '/'; }

void log_miss(std::string_view path) {
  qk_log(QKCORESTATIC, qk::log::ERROR, "Can't open file '%.*s' from real path fs.", int(path.size()),
         path.data());
}

// A MemReader that its holder ends by release(), as it does any file it opened.
class OwnedMemReader final : public qkvfs::MemReader {
 public:
  using MemReader::MemReader;
  void release() override { delete this; }
};

}  // namespace

qkvfs::IFile* qk_vfs_open_real(std::string_view path, uint32_t mode, bool silent) {
  qkvfs::IFile* file = nullptr;
  if (!is_virtual(path)) {
    switch (mode) {
      case 0: file = qkvfs::WinFileRaw::open_read(path, silent); break;
      case 1: file = qkvfs::WinFileRaw::open_rewrite(path); break;
      case 2: file = qkvfs::WinFileRaw::open_append(path); break;
      default: break;
    }
  }
  if (!file && !silent) log_miss(path);
  return file;
}

qkvfs::IFile* qk_vfs_open_real_small(std::string_view path, uint32_t mode, bool silent) {
  qkvfs::IFile* file = qk_vfs_open_real(path, mode, silent);
  if (!file || mode != 0 || file->size() >= qk::kFileMapThreshold) return file;
  qk::RefPtr<qk::IBuffer> bytes = file->buffer();
  if (!bytes) return file;
  const std::string_view name = file->name();
  qkvfs::IFile* small = new OwnedMemReader(std::move(bytes), name);
  file->release();
  return small;
}

qk::RefPtr<qk::IBuffer> qk_vfs_read_real(std::string_view path, qk::RefPtr<qk::MemBuffer>* buffer,
                                         bool silent) {
  if (is_virtual(path)) {
    if (buffer && *buffer) (*buffer)->resize(0);
    return nullptr;
  }
  qk::RefPtr<qk::MemBuffer> fresh;
  qk::RefPtr<qk::IBuffer> bytes = qk_fs_read_into(path, buffer ? *buffer : fresh);
  if (!bytes && !silent) log_miss(path);
  return bytes;
}
