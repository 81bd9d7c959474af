#include "qk/FileBuffer.h"

#include <string>

#include "platform/qk_platform.h"
#include "qk/SharedBuffer.h"

namespace {

// Closes the file at the end of the scope, whatever the way out.
struct FileCloser {
  qk_platform_file file;
  ~FileCloser() { qk_platform_close(file); }
};

}  // namespace

qk::RefPtr<qk::IBuffer> qk_load_file_buffer(std::string_view path, bool& opened, bool) {
  const std::string terminated(path);
  FileCloser guard{qk_platform_open_read(terminated.c_str())};
  opened = guard.file.valid();
  uint64_t size = 0;
  if (!opened || !qk_platform_file_size(guard.file, size)) return nullptr;

  qk::RefPtr<qk::SharedBuffer> buffer = qk::SharedBuffer::create(size_t(size));
  auto* cursor = static_cast<unsigned char*>(buffer->mutableData());
  uint64_t done = 0;
  while (done < size) {
    const int64_t n = qk_platform_read(guard.file, cursor + done, size_t(size - done));
    if (n <= 0) return nullptr;  // a short read: the file shrank or the read failed
    done += uint64_t(n);
  }
  return buffer;
}
