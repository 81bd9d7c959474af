// FSDriver: a folder of the real file system, mounted.
//
// At mount the driver walks the whole tree under its source, depth first, and keeps one entry per
// file and directory: a directory comes before what it holds; entries whose name begins with "."
// (hidden, on this system) are neither listed nor entered. Links are followed; a directory more
// than 64 levels below the source isn't entered, so that a link back up the tree ends the walk
// there instead of running the stack out. The tree isn't watched afterwards: a
// file made later isn't seen, and one removed later simply fails to open. Lookups thus never touch
// the disk; `info` does, on purpose, so that size and time are current.
//
// Case. Linux file systems tell case apart. The Manager folds paths for its keys and comparisons
// (`key`, `real_source`), but this driver opens the folder and its files by the spelling the user
// gave (`source`, `real_path`), so that a mount of "Data/Textures" opens Data/Textures and not
// data/textures. An empty source is the working directory, as the folder walk reads it.
//
// `.metadata.json` at the root of the folder, opened by that name and never listed, gives per-file
// metadata (see parseMetadataJson in qk/Metadata.h). Its file keys are the files' `real_path`s:
// the source as given, normalised, then "/" and the path inside the folder, for example
// "Data/textures/rock.dds" for a mount of "./Data/". A broken document logs "Can't read metadata
// for driver <source>" and the mount goes on with what was read before the error.
//
// Ownership and threads: as IDriver. Entries and metadata don't change after construction; the
// open counter is atomic. Files and futures handed out count in it until they are released.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>
#include <vector>

#include "PathBuffer.h"
#include "qk/Metadata.h"
#include "qkvfs/IDriver.h"

namespace qkvfs {

// One walked item. The paths are kept in place (255 bytes each, growing on the heap beyond), so
// the table costs one allocation per growth of its array.
struct FSEntry {
  PathBuffer<255> path;       // mount point and relative path, normalised, case kept
  PathBuffer<255> key;        // `path` folded
  PathBuffer<255> real_path;  // source and relative path, normalised, case kept
  uint32_t type = 0;          // 1 file, 2 directory (trailing separators removed from its paths)

  FSEntry() = default;
  FSEntry(FSEntry&& other) noexcept { take(other); }
  FSEntry& operator=(FSEntry&& other) noexcept {
    take(other);
    return *this;
  }

 private:
  void take(const FSEntry& other) {
    path.assign(other.path.view());
    key.assign(other.key.view());
    real_path.assign(other.real_path.view());
    type = other.type;
  }
};

class FSDriver final : public IDriver, public IMetadataSource {
 public:
  // The factory of the Manager: clears `stop`, and makes a driver when the source (an empty one
  // read as ".") is a directory; otherwise null with no text. Never sets `stop`.
  static IDriver* factory(uint64_t mount_id, const char* normalised_source, const char* opened_source,
                          const char* normalised_mount_point, const char* mount_tag, char* error,
                          size_t error_capacity, bool* stop);

  // Walks `opened_source` and reads its metadata. The mount point is normalised and ends in "/".
  FSDriver(uint64_t mount_id, std::string_view mount_tag, std::string_view opened_source,
           std::string_view normalised_source, std::string_view normalised_mount_point);
  ~FSDriver() override = default;

  void enumerate(EnumerateCallback callback, void* context) override;
  // Asks the file system anew: a directory gives type 2 and size 0, a file type 1 and its size,
  // and time its last write; all three 0 when the entry can't be found now.
  void info(uint64_t index, EntryInfo& out) override;
  // A WinFileRaw of the entry's real path, with `source` as its VFS name and the entry's metadata.
  // A failure logs "[<real path>] CreateFile(RO): <system text>" and gives null.
  IFile* open_file(uint64_t index) override;
  const char* name() override { return "FSDriver"; }
  bool has_open_files() override { return open_count_.load() != 0; }
  void destroy() override { delete this; }
  void flush() override {}
  bool skips_monitor() override { return false; }
  std::string describe() override { return std::string(); }
  // A pooled future that reads the whole file when asked; null for a directory.
  IBufFuture* open_future(uint64_t index) override;
  // A FileReader that owns its file; null for a directory or when the file can't be opened.
  qk::ReaderPtr<> open_reader(uint64_t index) override;

  const qk::MetadataMap* metadata_of(uint64_t index) override;

  const std::vector<FSEntry>& entries() const { return entries_; }

 private:
  static constexpr int kMaxDepth = 64;

  void walk(std::string_view folder, int depth);
  void add(std::string_view real_text, uint32_t type);
  void load_metadata();

  std::vector<FSEntry> entries_;
  qk::MetadataTable metadata_;
  std::atomic<uint64_t> open_count_{0};
  int walk_depth_ = 0;  // the level of the listing the walk is in
};

}  // namespace qkvfs
