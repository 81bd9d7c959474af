// ArchiveWriter: writes a .qkpk archive in the format of qkvfs/ArchiveIndex.h, for tools (`qkmt
// pack`); the system itself only reads archives, and nothing it mounts links this.
//
// Files and directories are added in the order the caller chooses, and that order is the
// archive's: the payload holds the files' data back to back in it, and the index lists them in
// it. The same additions in the same order give the same bytes (with the same zstd library), so a
// caller that wants a reproducible archive adds in a fixed order (qkmt pack sorts by name).
//
// Choices of this writer that a reader doesn't see:
//   - a file above 1 MiB is always compressed, as a reader streams such entries through zstd;
//   - a smaller file is compressed when it is at least `store_below` bytes and the zstd frame is
//     at least 1/16 smaller than the file; otherwise it is stored. Empty files are stored;
//   - frames are single zstd frames at `level` with the content size in their header and no
//     checksum; a stored file's packed_size is its size;
//   - the digest of each file is ArchiveHash (BLAKE2b-256) of its content;
//   - the string pool holds each distinct text once: metadata keys and text values first (their
//     offsets are 32-bit), then directory names, then file names; aux_pool is empty; the reserved
//     words and the cipher words are zero;
//   - a file's metadata goes in as its strings, floats and integers, each group sorted by key.
//
// Content comes from a qk::Reader and must give exactly the size announced; a file above 1 MiB is
// streamed through the compressor in pieces, so memory stays bounded whatever its size. Failures
// (a content that comes short or long, a read error, zstd, the sink) answer false with error()
// set, and the writer takes nothing more: the caller drops what the sink holds.
// Ownership: the sink is the caller's and must outlive the writer. Threads: one at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "qk/Metadata.h"
#include "qk/Reader.h"

namespace qkvfs {

// Where an archive's bytes go, in order.
class ArchiveSink {
 public:
  // False when the bytes can't be taken; the writer then stops.
  virtual bool write(const void* data, size_t size) = 0;

 protected:
  ~ArchiveSink() = default;
};

struct ArchiveWriterOptions {
  static constexpr int kDefaultLevel = 9;
  int level = kDefaultLevel;  // zstd's level, 1 to ZSTD_maxCLevel()
  uint64_t store_below = 0;   // files smaller than this are stored (those above 1 MiB excepted)
};

// What happened to one file.
struct ArchiveFileResult {
  bool compressed = false;
  uint64_t stored_bytes = 0;  // bytes in the payload
};

class ArchiveWriter {
 public:
  ArchiveWriter(ArchiveSink& sink, const ArchiveWriterOptions& options);
  ~ArchiveWriter();
  ArchiveWriter(const ArchiveWriter&) = delete;
  ArchiveWriter& operator=(const ArchiveWriter&) = delete;

  // `name` is the entry's name inside the archive ("textures/rock.dds"); `time` is handed on as
  // the entry's time.
  void add_directory(std::string_view name, uint64_t time);
  // Adds the `size` bytes that `content` gives; `metadata` may be null.
  bool add_file(std::string_view name, uint64_t time, const qk::MetadataMap* metadata, qk::Reader& content,
                uint64_t size, ArchiveFileResult* result = nullptr);
  // Writes the index and the tail. The archive is whole once this answers true.
  bool finish();

  const std::string& error() const { return error_; }
  uint64_t bytes_written() const;

 private:
  struct State;

  bool fail(std::string text);

  std::unique_ptr<State> state_;
  std::string error_;
};

}  // namespace qkvfs
