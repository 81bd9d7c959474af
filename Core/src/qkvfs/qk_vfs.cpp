#include "qkvfs/qk_vfs.h"

#include "qk/FileBuffer.h"
#include "qk_log.h"

qk::RefPtr<qk::IBuffer> qk_vfs_read_file(std::string_view path, bool silent) {
  const int length = static_cast<int>(path.size());
  if (!path.empty() && path.front() == '/') {
    // The virtual tree: nothing is mounted in this build, so no virtual path is found.
    if (!silent) qk_log(QKCORESTATIC, qk::log::ERROR, "Can't open file: %.*s", length, path.data());
    return nullptr;
  }
  bool opened = false;
  qk::RefPtr<qk::IBuffer> buffer = qk_load_file_buffer(path, opened, false);
  if (!buffer && !silent)
    qk_log(QKCORESTATIC, qk::log::ERROR, "Can't open file '%.*s' from fs", length, path.data());
  return buffer;
}
