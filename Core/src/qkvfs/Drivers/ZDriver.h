// ZDriver: a zip file, mounted.
//
// It takes a deliberately narrow subset of zip: single volume, stored (0) and deflated (8; 9 is
// inflated as if it were 8) entries, and the end of central directory record as the very last
// thing in the file. There is no backward search, so an archive with a comment is refused, and so
// is an empty one (a central directory of size 0). Little-endian records, each read at its
// standard form: end of central directory (0x06054b50, 22 bytes), ZIP64 locator (0x07064b50, 20
// bytes), ZIP64 end record (0x06064b50, 56 bytes read), central header (0x02014b50, 46 bytes),
// local header (0x04034b50, 30 bytes).
//
// The parse, once at mount; its reasons go into "ZipDriver: Failed to open zip archive <path>.
// Reason: <reason>":
//   1. The file must open ("No such file.", which counts as not found) and begin with "PK"
//      ("Invalid zip signature.").
//   2. The last 22 bytes must be the end record with a directory size other than 0
//      ("Invalid EndOfCentralDirectoryRecord.").
//   3. Any all-ones field of the end record (disk numbers, entry counts 0xFFFF; directory size,
//      offset 0xFFFFFFFF) means the ZIP64 form: the locator must stand at size - 42
//      ("Invalid EndOfCentralDirectoryLocator64.") and the ZIP64 end record right before it at
//      size - 98 ("Invalid EndOfCentralDirectoryRecord64."; the locator's offset isn't used); the
//      entry count and the directory offset are then that record's (u64 at 32 and at 48).
//      Otherwise the count is the end record's entries on this disk.
//   4. Each central header ("Invalid CentralDirectoryFileHeader." for a wrong signature, or for a
//      header or name that the file doesn't hold whole). In the ZIP64 form every entry must carry
//      the 64-bit record (id 1) whose size is 8 for each of size, packed size and offset that is
//      all ones, plus 4 when the disk number is 0xFFFF; the extra field is walked in steps of
//      4 bytes, a header that doesn't match moving on by 4 bytes without skipping its data; the
//      matched record gives, in this order, the size, packed size and offset that are all ones
//      ("Extra fields missing 64 bit file record." when none matches, also for an entry with
//      nothing to hold). A record that runs past the extra field is read on from the bytes behind
//      it, and the next header follows whatever was read.
//   5. Each local header: the data starts behind its name and extra field, and its method is the
//      one used. A local header that isn't one logs ERROR "Invalid local file header: <stored
//      path>" and ends the parse with no reason (and an offset beyond 2^63, where the seek would
//      fail, ends it with none and no line): the factory then answers null with no text.
// The central directory and local headers are read through a 64 KiB window of positional reads,
// so a mount costs a few reads per window, not per record.
//
// Names: `path` and `key` join the mount point and the stored name as the archive format does
// (qk_archive_join_name), `stored_path` is the stored name normalised; a directory (bit 4 of the
// external attributes) loses its trailing separators. `time` is the DOS date and time read as UTC
// (no time zone applied), in seconds since 1970, plus the entry's CRC-32 as a plain number, so it
// changes with the content: a stamp, not a true time. A DOS stamp that names no real moment (month
// 13, 30 February, hour 24, ...) counts as 0. The CRC is never checked against the data.
//
// `.metadata.json` at the root of the archive (a stored path of exactly that name) is read whole
// at mount, leaves the entries, and gives per-file metadata in the form of qk/Metadata.h with the
// stored paths as file keys; a broken document logs "Can't read metadata for driver <source>" and
// keeps what was read before the error.
//
// The factory, with the form of IDriver.h: clears `stop`, parses the source; on success sets
// `stop` (a zip ends the factory chain) and makes the driver. A source that can't be opened is
// tried once more with ".zip" appended; absent both ways, null with no text. Nothing in the parse
// throws.
//
// Entries: `open_file` gives a ZFile, `open_future` a pooled future, both null for a directory or
// when the archive can't be opened; `open_reader` a pooled ZReader, a raw inflate stream (methods
// 8 and 9) or the range itself (method 0) over the entry's data with read-ahead 1024 and the
// entry's size as total, null also for another method; an inflate that can't start throws
// qk::ZlibError. Ownership and threads: as IDriver, and as the archive driver (QKPKDriver.h).
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>
#include <vector>

#include "qk/Metadata.h"
#include "qkvfs/Drivers/DataProviders/ZFile.h"
#include "qkvfs/IDriver.h"
#include "qkvfs/OverlappedFile.h"

namespace qkvfs {

class ZDriver final : public IDriver, public IMetadataSource {
 public:
  static IDriver* factory(uint64_t mount_id, const char* normalised_source, const char* opened_source,
                          const char* normalised_mount_point, const char* mount_tag, char* error,
                          size_t error_capacity, bool* stop);

  // Takes the parsed entries of the zip file at `archive_path` and reads its metadata.
  ZDriver(uint64_t mount_id, std::string_view mount_tag, std::string_view archive_path,
          std::string_view normalised_source, std::string_view normalised_mount_point,
          std::vector<ZEntry>&& entries);
  ~ZDriver() override = default;

  void enumerate(EnumerateCallback callback, void* context) override;
  void info(uint64_t index, EntryInfo& out) override;
  IFile* open_file(uint64_t index) override;
  const char* name() override { return "ZipDriver"; }
  bool has_open_files() override { return open_count_.load() != 0; }
  void destroy() override { delete this; }
  void flush() override {}
  bool skips_monitor() override { return false; }
  std::string describe() override { return "ZDriver::no info"; }
  IBufFuture* open_future(uint64_t index) override;
  qk::ReaderPtr<> open_reader(uint64_t index) override;

  const qk::MetadataMap* metadata_of(uint64_t index) override;

  const std::vector<ZEntry>& entries() const { return entries_; }

 private:
  // True when `index` names a file and the archive is open.
  bool usable(uint64_t index);
  void load_metadata();

  OverlappedFile file_;
  std::atomic<uint64_t> open_count_{0};
  std::vector<ZEntry> entries_;
  qk::MetadataTable metadata_;
};

}  // namespace qkvfs
