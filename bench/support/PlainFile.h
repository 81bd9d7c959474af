// The peer of the file benchmarks: the system's own positional read on a file opened the plain
// way, with no layer of ours between (pread on a descriptor on POSIX systems; ReadFile with the
// offset in an OVERLAPPED on a handle on Windows). One implementation file per system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace qkbench {

class PlainFile {
 public:
  // Opens `path` (UTF-8) for reading; ok() tells whether it worked.
  explicit PlainFile(const std::string& path);
  ~PlainFile();
  PlainFile(const PlainFile&) = delete;
  PlainFile& operator=(const PlainFile&) = delete;

  bool ok() const { return handle_ != kInvalid; }
  // Reads up to `size` bytes at `offset`; the bytes transferred, 0 on failure. Any number of
  // threads may call it at once.
  size_t read_at(uint64_t offset, void* out, size_t size);

 private:
  static constexpr intptr_t kInvalid = -1;
  intptr_t handle_ = kInvalid;
};

}  // namespace qkbench
