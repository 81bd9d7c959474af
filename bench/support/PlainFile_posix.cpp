#include "PlainFile.h"

#include <fcntl.h>
#include <unistd.h>

namespace qkbench {

PlainFile::PlainFile(const std::string& path) : handle_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}

PlainFile::~PlainFile() {
  if (ok()) close(int(handle_));
}

size_t PlainFile::read_at(uint64_t offset, void* out, size_t size) {
  const ssize_t got = pread(int(handle_), out, size, off_t(offset));
  return got > 0 ? size_t(got) : 0;
}

}  // namespace qkbench
