// ZFile: the IFile of one entry of a mounted zip file (ZDriver), with ZEntry, the driver's record
// of an entry, and read_entry, the routine that reads an entry whole for the file and for the
// driver's future.
//
// The file loads its content on first need (PackedFile). `name` is the entry's virtual path with
// its case, `vfs_name` the source the driver opened. A buffer that can't be made for the content
// logs ERROR "Not enough memory to decompress: <stored path>" and the read gives nothing.
//
// Ownership: from ZFile::pool (512 a chunk); release() ends it. It points at the driver's entry
// and source, and the driver outlives it (the Manager keeps a driver with open files). Threads:
// one at a time per file.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "PathBuffer.h"
#include "qk/ObjectPool.h"
#include "qkvfs/Drivers/DataProviders/PackedFile.h"
#include "qkvfs/OverlappedFile.h"

namespace qkvfs {

// One entry of the central directory.
struct ZEntry {
  PathBuffer<255> path;         // mount point and stored name joined and normalised, case kept
  PathBuffer<255> key;          // `path` folded
  PathBuffer<255> stored_path;  // the stored name alone, normalised
  uint64_t offset = 0;          // the local header's offset, then the start of the data
  uint64_t packed_size = 0;
  uint64_t size = 0;
  uint64_t time = 0;    // the DOS stamp read as UTC, in seconds, plus the CRC-32 (a stamp, not a time)
  uint32_t type = 0;    // 1 file, 2 directory (trailing separators removed from the names)
  uint16_t method = 0;  // from the local header

  ZEntry() = default;
  ZEntry(const ZEntry& other) { *this = other; }
  ZEntry& operator=(const ZEntry& other) {
    path.assign(other.path.view());
    key.assign(other.key.view());
    stored_path.assign(other.stored_path.view());
    offset = other.offset;
    packed_size = other.packed_size;
    size = other.size;
    time = other.time;
    type = other.type;
    method = other.method;
    return *this;
  }
};

class ZFile final : public PackedFile {
 public:
  static ZFile* make(OverlappedFile* archive, const ZEntry* entry, const std::string* source,
                     const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count);

  // The entry's bytes, in `fill`'s buffer (reused) or a new one; null on failure. Method 0 is one
  // positional read of `size` bytes. Any other method gets packed_size + size bytes with the
  // packed bytes read behind the room for the result (a short read answers null), and methods 8
  // and 9 are inflated as raw deflate in one call into the front part, which must end the stream
  // with exactly `size` bytes. Every other outcome logs ERROR "Decompress error: <code>, file:
  // <stored path>": -1 when inflate can't start, -2 for a method other than 8 or 9, zlib's own
  // code otherwise, and Z_DATA_ERROR (-3) for a stream that ends before `size` bytes or claims
  // more than deflate can make of its packed bytes (1,032 to 1), which is refused before
  // anything is allocated. Any thread.
  static qk::RefPtr<qk::IBuffer> read_entry(OverlappedFile& archive, const ZEntry& entry,
                                            qk::RefPtr<qk::MemBuffer>& fill);

  const char* name() override { return entry_->path.c_str(); }
  const char* vfs_name() override { return source_->c_str(); }
  void release() override;

  static qk::ObjectPool pool;

 private:
  ZFile(OverlappedFile* archive, const ZEntry* entry, const std::string* source,
        const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count);
  ~ZFile() override = default;

  qk::RefPtr<qk::IBuffer> load_content(qk::RefPtr<qk::MemBuffer> empty) override;

  OverlappedFile* archive_;
  const ZEntry* entry_;
  const std::string* source_;
};

}  // namespace qkvfs
