// OverlappedFile: one read-only descriptor of a file that many threads read at their own offsets.
//
// The file is opened on first need by ensure_open(). That check takes no lock: threads that race
// there may each open the file, and all but the first to store its descriptor close theirs again,
// so the race costs an open and nothing stays behind. read_at() is a positional read (pread) that
// leaves no position behind, so any number of threads may call it at once on one object.
//
// Failures are logged at ERROR under QKCORESTATIC as "[<path>] <operation>: <system text>":
// "CreateFile(OVERLAPPED)" for the open, "GetOverlappedResult(%d)" with the size for a read that
// fails or starts at or beyond the end of the file (then with the text "End of file").
// Ownership: a driver holds it as a member; the descriptor closes with the object.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace qkvfs {

class OverlappedFile {
 public:
  explicit OverlappedFile(std::string path) : path_(std::move(path)) {}
  ~OverlappedFile();
  OverlappedFile(const OverlappedFile&) = delete;
  OverlappedFile& operator=(const OverlappedFile&) = delete;

  // True when the file is open, opening it if needed.
  bool ensure_open();
  bool is_open() const { return handle_.load(std::memory_order_acquire) != -1; }

  // Reads up to `size` bytes at `offset`; answers the bytes transferred, 0 while the file isn't
  // open. Safe from many threads at once.
  size_t read_at(uint64_t offset, void* buffer, size_t size);

  // The file's size now; false (nothing logged) while the file isn't open or the system can't
  // tell. The archive drivers ask before they allocate for a large entry.
  bool size(uint64_t& out) const;

  const char* path() const { return path_.c_str(); }

 private:
  std::atomic<intptr_t> handle_{-1};
  std::string path_;
};

}  // namespace qkvfs
