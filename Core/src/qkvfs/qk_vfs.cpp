#include "qkvfs/qk_vfs.h"

#include <exception>

#include "qk/FileBuffer.h"
#include "qk/Md5.h"
#include "qk_log.h"
#include "qkvfs/Manager.h"

namespace qkvfs {

Manager& manager() {
  static Manager instance;
  return instance;
}

}  // namespace qkvfs

qk::RefPtr<qk::IBuffer> qk_vfs_read_file(std::string_view path, bool silent) {
  if (!path.empty() && path.front() == '/') return qkvfs::manager().read_file(path, silent);
  bool opened = false;
  qk::RefPtr<qk::IBuffer> buffer = qk_load_file_buffer(path, opened, false);
  if (!buffer && !silent)
    qk_log(QKCORESTATIC, qk::log::ERROR, "Can't open file '%.*s' from fs", int(path.size()), path.data());
  return buffer;
}

qk::ReaderPtr<> qk_vfs_open_reader(std::string_view path, bool silent) {
  return qkvfs::manager().open_reader(path, silent);
}

bool qk_vfs_md5sum(std::string_view path, char (&hex)[33]) {
  qk::ReaderPtr<> reader = qk_vfs_open_reader(path, true);
  if (!reader) return false;
  qk::Md5 digest;
  unsigned char block[4096];
  try {
    for (;;) {
      const size_t got = reader->read(block, sizeof block);
      digest.update(block, got);
      if (got < sizeof block) break;
    }
  } catch (const std::exception& error) {
    qk_log(QKCORESTATIC, qk::log::ERROR, "md5 of %.*s: %s", int(path.size()), path.data(), error.what());
    return false;
  }
  digest.finish(hex);
  return true;
}
