// The .qkpk archive format, and the load of an archive's index into the tables that QKPKDriver
// keeps for its whole life.
//
// An archive is one file that holds the data of many files, a flat list of their directories and
// names, and per-file metadata, with everything needed to find them at the end of the file. There
// is no header: byte 0 is the first byte of the payload. All integers are little-endian, f64 is
// IEEE 754 binary64, and nothing is padded or aligned. Offsets count from byte 0 of the file.
//
//   payload   0 .. index               file data, reached only through FileRecord.offset
//   index     size - 40 - index_size   u32 index_cipher_word, then the sections below
//   tail      size - 40                u64 index_size, 2 x u64 tail_reserved, u64 cipher_word,
//                                      u32 version (3), "QKPK"
//
// Sections of the index, in this order ("counted": a u64 count, then that many records):
//    1 aux_pool         u64 byte count, bytes (carried, never interpreted)
//    2 string_pool      u64 byte count, bytes: every name, metadata key and text value
//    3 meta_strings     counted MetaString      4 meta_floats     counted MetaFloat
//    5 meta_integers    counted MetaInteger     6 directory_names counted NameRange (dir_count)
//    7 directory_times  dir_count x u64         8 file_count      u64
//    9 file_records     file_count x FileRecord
//   10 meta_counts      file_count x MetaCounts (how many consecutive metadata records of each
//                       table belong to the file)
//   11 file_names       file_count x NameRange
//   12 file_digests     file_count x 32 bytes (carried, never interpreted by the reader)
//
// A file whose flags have bit 0 set is compressed: its packed_size bytes at offset are one zstd
// frame that states its content size, which equals size. Otherwise it is size plain bytes at
// offset. A reader must stream every entry above 1 MiB through zstd (QKPKDriver), so a writer
// compresses every such entry. A non-zero cipher word (tail or index) marks an enciphered archive,
// which is refused: nothing here deciphers.
//
// Bad-input policy of load_archive_index. The tail and index are untrusted: every offset and
// length is checked before use, and nothing is allocated for a length the file can't hold.
//   - wrong magic, a version other than 3, or a tail or index that would begin before byte 0:
//     the answer "archive is broken";
//   - a non-zero cipher word: "encrypted archive isn't supported", found before index_size is
//     looked at;
//   - a short read in sections 1 to 6 isn't detected: the array stays zero-filled and the load
//     goes on. Once the file has run out, section 8 can never be read whole, so a section that
//     claims more than the rest of the file holds ends the load at once with the ReadFormatError
//     that section 8 would raise, without allocating what it claims;
//   - a short read from section 7 on throws qk::ReadFormatError ("Not enough input data"), which
//     leaves the load, the factory and the mount;
//   - a range outside the string pool is an empty text (with no pointer when it begins beyond the
//     pool's end), and one that runs past the end is cut there: never an error;
//   - a metadata table shorter than a file's MetaCounts ask for ends the load with
//     std::out_of_range from the checked access of the record that isn't there.
//
// Threads: the load runs on one thread with its own index; a finished index is only read.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "PathBuffer.h"
#include "qk/Metadata.h"
#include "qkvfs/IFile.h"

namespace qkvfs {

inline constexpr uint32_t kArchiveVersion = 3;
inline constexpr char kArchiveMagic[4] = {'Q', 'K', 'P', 'K'};
inline constexpr uint64_t kArchiveTailSize = 40;
// Entries above this size are read as a zstd stream, so a writer must compress them.
inline constexpr uint64_t kArchiveStreamAbove = 0x100000;

// A range in the string pool (16 bytes on disk).
struct NameRange {
  uint64_t offset = 0;
  uint64_t length = 0;
};

// Where a file's bytes lie (48 bytes on disk).
struct FileRecord {
  uint64_t offset = 0;       // start of the file's data in the archive
  uint64_t packed_size = 0;  // bytes of the zstd frame; without meaning when not compressed
  uint64_t size = 0;         // the file's length after decompression
  uint64_t time = 0;         // the entry's time, handed on unchanged
  uint8_t flags[8] = {};     // bit 0 of the first byte: compressed; nothing else is examined
  uint8_t record_reserved[8] = {};

  bool compressed() const { return (flags[0] & 1) != 0; }
};

// How many consecutive records of each metadata table belong to one file (24 bytes on disk).
struct MetaCounts {
  uint64_t string_count = 0;
  uint64_t float_count = 0;
  uint64_t integer_count = 0;
};

// Metadata records (16 bytes each on disk); offsets and lengths are into the string pool.
struct MetaString {
  uint32_t key_offset = 0, key_length = 0, value_offset = 0, value_length = 0;
};
struct MetaFloat {
  uint32_t key_offset = 0, key_length = 0;
  double value = 0;
};
struct MetaInteger {
  uint32_t key_offset = 0, key_length = 0;
  uint64_t value = 0;
};

using ArchiveDigest = std::array<uint8_t, 32>;

// The string pool: its bytes, followed in memory by one zero byte that isn't part of it, so that
// a stored name read as a C text ends at the pool's end at the latest. The storage doesn't move
// once filled (moving the pool keeps it), as names point into it.
class StringPool {
 public:
  void resize(size_t size) { bytes_.assign(size + 1, 0); }
  char* data() { return bytes_.data(); }
  size_t size() const { return bytes_.empty() ? 0 : bytes_.size() - 1; }
  // The text of a range: empty with no pointer when `offset` lies beyond the end; otherwise from
  // `offset`, cut at the end.
  std::string_view resolve(uint64_t offset, uint64_t length) const;

 private:
  std::vector<char> bytes_;
};

// One name in three forms.
struct ArchiveName {
  std::string_view stored_name;  // as it stands in the string pool, not terminated; may have no pointer
  PathBuffer<255> path;          // mount point and stored name joined and normalised, case kept
  PathBuffer<255> key;           // `path` folded

  ArchiveName() = default;
  ArchiveName(const ArchiveName& other) { *this = other; }
  ArchiveName& operator=(const ArchiveName& other) {
    stored_name = other.stored_name;
    path.assign(other.path.view());
    key.assign(other.key.view());
    return *this;
  }
};

// Joins `mount_point` and `stored` (one "/" between them unless either side has a separator
// there, "\" counting as one), normalises the result keeping case into `path`, and folds it into
// `key`. The zip driver names its entries the same way.
void qk_archive_join_name(std::string_view mount_point, std::string_view stored, PathBufferBase& path,
                          PathBufferBase& key);

// An archive's tables. `files`, `records`, `metadata` and `digests` have the same length and
// order: the position is the file's index everywhere else.
struct ArchiveIndex {
  std::vector<ArchiveName> directories;
  std::vector<uint64_t> directory_times;
  std::vector<ArchiveName> files;
  std::vector<FileRecord> records;
  std::vector<qk::MetadataMap> metadata;
  std::vector<ArchiveDigest> digests;
  StringPool string_pool;
  std::vector<uint8_t> aux_pool;
  // Where the index begins: the payload lies before it.
  uint64_t index_offset = 0;
};

// Fills `index` (empty on entry) from the archive `file`, naming the entries under `mount_point`.
// The answer is empty on success, or the reason of a refusal ("archive is broken", "encrypted
// archive isn't supported"). Throws as the policy above says.
std::string load_archive_index(IFile& file, std::string_view mount_point, ArchiveIndex& index);

}  // namespace qkvfs
