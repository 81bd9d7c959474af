// QKPKDriver: a .qkpk archive (qkvfs/ArchiveIndex.h gives the format), mounted.
//
// The factory opens the archive, loads its index once and keeps the tables for the driver's life;
// the archive's handle is released at once and opened again (OverlappedFile) when an entry is
// first opened. Entries are numbered files first: index i < files is file i, index files + j is
// directory j. Both names enumerate hands over are the entry's folded key, so a listing of an
// archive shows lower-case names only. `info` answers from the tables: a file's record size and
// time, a directory's size 0 and its time.
//
// Entries are read whole through QKPKFile::read_entry (one allocation, one positional read, one
// decompression in place) by QKPKFile and by the future that the Manager's reads use; open_reader
// gives an entry of at most 1 MiB the same way behind a qk::BufferReader, and streams a larger one
// (or one whose buffer can't be had) through a pooled QKPKReader: a zstd stream over the entry's
// range, whatever the entry's flags say. A stored entry above 1 MiB therefore fails there with
// qk::ZstdError; writers compress every such entry.
//
// The factory, with the form of IDriver.h: clears `stop` and never sets it, so later factories run
// too (a folder and an archive of one name are both mounted). The source is taken as the archive's
// path when its folded form ends in ".qkpk" (the last five bytes compared exactly; ".qkpk" alone
// counts), otherwise ".qkpk" is appended; the spelling with its case is what is opened. A file
// that can't be opened answers null with no text: this driver doesn't apply. A refused index
// answers null with "QKPKDriver: Failed to open qkpk archive <path>. Reason: <reason>." in the
// error buffer (when it has room). A truncated index throws qk::ReadFormatError, and a metadata
// table shorter than its counts std::out_of_range: both leave the factory and the mount.
//
// Every entry operation first makes sure the archive is open: a failure is logged by
// OverlappedFile ("CreateFile(OVERLAPPED)") and answers null, as do an index at or beyond the file
// count (directories too) and a pool that is dry.
//
// Ownership and threads: as IDriver. The tables never change after the factory; any thread may
// open and read entries at once without a lock: the open counter is atomic, positional reads carry
// their own offset, the pools and the zstd context caches take no lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

#include "qkvfs/ArchiveIndex.h"
#include "qkvfs/IDriver.h"
#include "qkvfs/OverlappedFile.h"

namespace qkvfs {

class QKPKDriver final : public IDriver, public IMetadataSource {
 public:
  static IDriver* factory(uint64_t mount_id, const char* normalised_source, const char* opened_source,
                          const char* normalised_mount_point, const char* mount_tag, char* error,
                          size_t error_capacity, bool* stop);

  // Takes the tables of an index loaded from the archive at `archive_path`.
  QKPKDriver(uint64_t mount_id, std::string_view mount_tag, std::string_view archive_path,
             std::string_view normalised_source, std::string_view normalised_mount_point,
             ArchiveIndex&& index);
  ~QKPKDriver() override = default;

  void enumerate(EnumerateCallback callback, void* context) override;
  void info(uint64_t index, EntryInfo& out) override;
  IFile* open_file(uint64_t index) override;
  const char* name() override { return "QKPKDriver"; }
  bool has_open_files() override { return open_count_.load() != 0; }
  void destroy() override { delete this; }
  void flush() override {}
  bool skips_monitor() override { return false; }
  std::string describe() override { return std::string(); }
  IBufFuture* open_future(uint64_t index) override;
  qk::ReaderPtr<> open_reader(uint64_t index) override;

  // The file's metadata map, null for none (and for a directory).
  const qk::MetadataMap* metadata_of(uint64_t index) override;

  // The tables as loaded, for tools that check an archive (qkmt verify).
  const ArchiveIndex& index() const { return index_; }
  OverlappedFile& archive() { return file_; }

 private:
  // The file's index when `index` names a file and the archive is open; false otherwise.
  bool usable(uint64_t index);

  OverlappedFile file_;
  std::atomic<uint64_t> open_count_{0};
  ArchiveIndex index_;
};

}  // namespace qkvfs
