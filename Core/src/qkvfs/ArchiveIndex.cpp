#include "qkvfs/ArchiveIndex.h"

#include <cstring>

#include "qk/ReadError.h"
#include "qk_path.h"
#include "qkvfs/FileReader.h"

namespace qkvfs {

namespace {

constexpr const char* kBroken = "archive is broken";
constexpr const char* kEncrypted = "encrypted archive isn't supported";

uint32_t le32(const uint8_t* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
uint64_t le64(const uint8_t* p) { return uint64_t(le32(p)) | uint64_t(le32(p + 4)) << 32; }

bool is_separator(char c) { return c == '/' || c == '\\'; }

// Reads `size` bytes at `offset` of the file; false when they don't all come.
bool read_at(IFile& file, uint64_t offset, void* dst, size_t size) {
  return file.seek(offset) && file.read(dst, size) == size;
}

// ---- Sections --------------------------------------------------------------------------------

// The index read forward. A section is checked (from section 7 on: a short read throws) or not
// (sections 1 to 6: a short read leaves zeros). A claim beyond what the file still holds throws
// at once in both cases, for an unchecked section's short read leaves the reader at the end of
// the file, where section 8 is sure to come short: the outcome is the same, and nothing of the
// claimed size is allocated.
class Sections {
 public:
  explicit Sections(qk::Reader& reader) : reader_(reader) {}

  void bytes(void* dst, uint64_t size, bool checked) {
    if (size == 0) return;
    if (size > reader_.remaining()) throw qk::ReadFormatError();
    const size_t got = reader_.read(dst, size_t(size));
    if (got == size) return;
    if (checked) throw qk::ReadFormatError();
    std::memset(static_cast<char*>(dst) + got, 0, size_t(size) - got);
  }

  uint64_t u64(bool checked) {
    uint8_t raw[8] = {};
    bytes(raw, 8, checked);
    return le64(raw);
  }

  // `count` records of `record_size` bytes, raw.
  std::vector<uint8_t> records(uint64_t count, size_t record_size, bool checked) {
    if (count > reader_.remaining() / record_size) throw qk::ReadFormatError();
    std::vector<uint8_t> raw(size_t(count) * record_size);
    bytes(raw.data(), raw.size(), checked);
    return raw;
  }

 private:
  qk::Reader& reader_;
};

std::vector<NameRange> name_ranges(const std::vector<uint8_t>& raw) {
  std::vector<NameRange> ranges(raw.size() / 16);
  for (size_t i = 0; i < ranges.size(); ++i) ranges[i] = {le64(&raw[i * 16]), le64(&raw[i * 16 + 8])};
  return ranges;
}

void make_names(const std::vector<NameRange>& ranges, const StringPool& pool, std::string_view mount_point,
                std::vector<ArchiveName>& names) {
  names.resize(ranges.size());
  for (size_t i = 0; i < ranges.size(); ++i) {
    ArchiveName& name = names[i];
    name.stored_name = pool.resolve(ranges[i].offset, ranges[i].length);
    qk_archive_join_name(mount_point, name.stored_name, name.path, name.key);
  }
}

// ---- Metadata --------------------------------------------------------------------------------

struct MetaTables {
  std::vector<MetaString> strings;
  std::vector<MetaFloat> floats;
  std::vector<MetaInteger> integers;
};

void read_meta_tables(Sections& sections, MetaTables& tables) {
  std::vector<uint8_t> raw = sections.records(sections.u64(false), 16, false);
  tables.strings.resize(raw.size() / 16);
  for (size_t i = 0; i < tables.strings.size(); ++i) {
    const uint8_t* p = &raw[i * 16];
    tables.strings[i] = {le32(p), le32(p + 4), le32(p + 8), le32(p + 12)};
  }
  raw = sections.records(sections.u64(false), 16, false);
  tables.floats.resize(raw.size() / 16);
  for (size_t i = 0; i < tables.floats.size(); ++i) {
    const uint8_t* p = &raw[i * 16];
    const uint64_t bits = le64(p + 8);
    tables.floats[i].key_offset = le32(p);
    tables.floats[i].key_length = le32(p + 4);
    std::memcpy(&tables.floats[i].value, &bits, sizeof bits);
  }
  raw = sections.records(sections.u64(false), 16, false);
  tables.integers.resize(raw.size() / 16);
  for (size_t i = 0; i < tables.integers.size(); ++i) {
    const uint8_t* p = &raw[i * 16];
    tables.integers[i] = {le32(p), le32(p + 4), le64(p + 8)};
  }
}

// Each file takes its counts of consecutive records of the three tables, strings first, so that
// of two values under one key the integer wins. A table that runs out stops the load through the
// checked access.
void fill_metadata(const std::vector<MetaCounts>& counts, const MetaTables& tables, const StringPool& pool,
                   std::vector<qk::MetadataMap>& metadata) {
  metadata.resize(counts.size());
  size_t s = 0, f = 0, n = 0;
  for (size_t file = 0; file < counts.size(); ++file) {
    const MetaCounts& c = counts[file];
    if (c.string_count == 0 && c.float_count == 0 && c.integer_count == 0) continue;
    qk::MetadataMap& map = metadata[file];
    map.rehash(8);
    for (uint64_t i = 0; i < c.string_count; ++i) {
      const MetaString& r = tables.strings.at(s++);
      qk::metadataSetString(map, pool.resolve(r.key_offset, r.key_length),
                            pool.resolve(r.value_offset, r.value_length));
    }
    for (uint64_t i = 0; i < c.float_count; ++i) {
      const MetaFloat& r = tables.floats.at(f++);
      qk::metadataSetFloat(map, pool.resolve(r.key_offset, r.key_length), r.value);
    }
    for (uint64_t i = 0; i < c.integer_count; ++i) {
      const MetaInteger& r = tables.integers.at(n++);
      qk::metadataSetInt(map, pool.resolve(r.key_offset, r.key_length), int64_t(r.value));
    }
  }
}

// ---- The tail --------------------------------------------------------------------------------

// Steps 1 to 4: magic and version, the cipher words, where the index begins. Empty on success.
std::string read_tail(IFile& file, uint64_t& index_offset) {
  const uint64_t size = file.size();
  uint8_t raw[24];
  if (size < 8 || !read_at(file, size - 8, raw, 8) || std::memcmp(raw + 4, kArchiveMagic, 4) != 0 ||
      le32(raw) != kArchiveVersion)
    return kBroken;
  if (size < 32 || !read_at(file, size - 32, raw, 24)) return kBroken;
  if (le64(raw + 16) != 0) return kEncrypted;
  if (size < kArchiveTailSize || !read_at(file, size - kArchiveTailSize, raw, 8)) return kBroken;
  const uint64_t index_size = le64(raw);
  if (index_size > size - kArchiveTailSize) return kBroken;
  index_offset = size - kArchiveTailSize - index_size;
  if (!read_at(file, index_offset, raw, 4)) return kBroken;
  if (le32(raw) != 0) return kEncrypted;
  return std::string();
}

}  // namespace

std::string_view StringPool::resolve(uint64_t offset, uint64_t length) const {
  if (offset > size()) return std::string_view();
  const uint64_t left = size() - offset;
  return std::string_view(bytes_.data() + offset, size_t(length < left ? length : left));
}

void qk_archive_join_name(std::string_view mount_point, std::string_view stored, PathBufferBase& path,
                          PathBufferBase& key) {
  PathBuffer<255> joined;
  joined.assign(mount_point);
  if (!joined.empty() && !is_separator(joined.view().back()) && !stored.empty() &&
      !is_separator(stored.front()))
    joined.append("/");
  if (!stored.empty()) joined.append(stored);  // an empty range may have no pointer
  qk_path_normalize(joined.view(), path, false);
  qk_path_fold(path.view(), key);
}

std::string load_archive_index(IFile& file, std::string_view mount_point, ArchiveIndex& index) {
  std::string refusal = read_tail(file, index.index_offset);
  if (!refusal.empty()) return refusal;

  // The rest of the file, behind the index cipher word, read forward only.
  FileReaderAdapter reader(file);
  Sections sections(reader);

  // Sections 1 to 6: a short read isn't detected.
  const uint64_t aux_size = sections.u64(false);
  if (aux_size > reader.remaining()) throw qk::ReadFormatError();
  index.aux_pool.resize(size_t(aux_size));
  sections.bytes(index.aux_pool.data(), aux_size, false);
  const uint64_t pool_size = sections.u64(false);
  if (pool_size > reader.remaining()) throw qk::ReadFormatError();
  index.string_pool.resize(size_t(pool_size));
  sections.bytes(index.string_pool.data(), pool_size, false);
  MetaTables tables;
  read_meta_tables(sections, tables);
  const std::vector<NameRange> directory_ranges =
      name_ranges(sections.records(sections.u64(false), 16, false));
  make_names(directory_ranges, index.string_pool, mount_point, index.directories);

  // Sections 7 to 12: every read must come whole.
  const uint64_t dir_count = directory_ranges.size();
  std::vector<uint8_t> raw = sections.records(dir_count, 8, true);
  index.directory_times.resize(size_t(dir_count));
  for (size_t i = 0; i < dir_count; ++i) index.directory_times[i] = le64(&raw[i * 8]);

  const uint64_t file_count = sections.u64(true);
  raw = sections.records(file_count, 48, true);
  index.records.resize(size_t(file_count));
  for (size_t i = 0; i < file_count; ++i) {
    const uint8_t* p = &raw[i * 48];
    FileRecord& record = index.records[i];
    record.offset = le64(p);
    record.packed_size = le64(p + 8);
    record.size = le64(p + 16);
    record.time = le64(p + 24);
    std::memcpy(record.flags, p + 32, 8);
    std::memcpy(record.record_reserved, p + 40, 8);
  }
  raw = sections.records(file_count, 24, true);
  std::vector<MetaCounts> counts(static_cast<size_t>(file_count));
  for (size_t i = 0; i < file_count; ++i)
    counts[i] = {le64(&raw[i * 24]), le64(&raw[i * 24 + 8]), le64(&raw[i * 24 + 16])};
  make_names(name_ranges(sections.records(file_count, 16, true)), index.string_pool, mount_point,
             index.files);

  raw = sections.records(file_count, 32, true);
  index.digests.resize(size_t(file_count));
  for (size_t i = 0; i < file_count; ++i) std::memcpy(index.digests[i].data(), &raw[i * 32], 32);

  fill_metadata(counts, tables, index.string_pool, index.metadata);
  return std::string();
}

}  // namespace qkvfs
