#include "qkvfs/ArchiveWriter.h"

#include <zstd.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>
#include <utility>
#include <vector>

#include "qk/ReadError.h"
#include "qk_format.h"
#include "qkvfs/ArchiveHash.h"
#include "qkvfs/ArchiveIndex.h"

namespace qkvfs {

namespace {

constexpr size_t kStreamPiece = 0x100000;

void put32(std::string& out, uint32_t value) {
  for (int i = 0; i < 4; ++i) out.push_back(char(value >> (8 * i)));
}
void put64(std::string& out, uint64_t value) {
  for (int i = 0; i < 8; ++i) out.push_back(char(value >> (8 * i)));
}

struct PendingFile {
  std::string name;
  FileRecord record;
  ArchiveDigest digest{};
  std::vector<std::pair<std::string, qk::MetadataValue>> metadata;  // sorted by key
};

// Reads up to `size` bytes; fewer only at the end of the content.
size_t read_full(qk::Reader& content, void* dst, size_t size) {
  size_t done = 0;
  while (done < size) {
    const size_t got = content.read(static_cast<char*>(dst) + done, size - done);
    if (got == 0) break;
    done += got;
  }
  return done;
}

// The index sections and the tail, from the files and directories as added.
class IndexBuilder {
 public:
  // False (with `error`) when metadata doesn't fit the format's 32-bit offsets.
  bool build(const std::vector<std::pair<std::string, uint64_t>>& directories,
             const std::vector<PendingFile>& files, std::string& index, std::string& error);

 private:
  uint64_t intern(std::string_view text) {
    const auto [at, added] = interned_.try_emplace(std::string(text), pool_.size());
    if (added) pool_.append(text);
    return at->second;
  }
  bool intern32(std::string_view text, uint32_t& offset) {
    const uint64_t at = intern(text);
    offset = uint32_t(at);
    return at + text.size() <= UINT32_MAX;
  }
  void put_range(std::string& out, std::string_view name) {
    put64(out, intern(name));
    put64(out, name.size());
  }

  std::string pool_;
  std::unordered_map<std::string, uint64_t> interned_;
};

bool IndexBuilder::build(const std::vector<std::pair<std::string, uint64_t>>& directories,
                         const std::vector<PendingFile>& files, std::string& index, std::string& error) {
  std::string strings, floats, integers, counts;
  uint64_t string_count = 0, float_count = 0, integer_count = 0;
  for (const PendingFile& file : files) {
    uint64_t per_tag[3] = {};
    for (const uint32_t tag :
         {qk::MetadataValue::STRING, qk::MetadataValue::FLOAT, qk::MetadataValue::INTEGER}) {
      for (const auto& [key, value] : file.metadata) {
        if (value.tag != tag) continue;
        uint32_t key_offset = 0, value_offset = 0;
        if (!intern32(key, key_offset) ||
            (tag == qk::MetadataValue::STRING && !intern32(value.text, value_offset))) {
          error = "the metadata texts pass the 4 GiB that the format's 32-bit offsets reach";
          return false;
        }
        std::string& table = tag == qk::MetadataValue::STRING  ? strings
                             : tag == qk::MetadataValue::FLOAT ? floats
                                                               : integers;
        put32(table, key_offset);
        put32(table, uint32_t(key.size()));
        if (tag == qk::MetadataValue::STRING) {
          put32(table, value_offset);
          put32(table, uint32_t(value.text.size()));
        } else {
          put64(table, value.number);  // the integer, or the float's bits
        }
        ++per_tag[tag];
      }
    }
    string_count += per_tag[qk::MetadataValue::STRING];
    float_count += per_tag[qk::MetadataValue::FLOAT];
    integer_count += per_tag[qk::MetadataValue::INTEGER];
    put64(counts, per_tag[qk::MetadataValue::STRING]);
    put64(counts, per_tag[qk::MetadataValue::FLOAT]);
    put64(counts, per_tag[qk::MetadataValue::INTEGER]);
  }
  std::string directory_names, file_names;
  for (const auto& directory : directories) put_range(directory_names, directory.first);
  for (const PendingFile& file : files) put_range(file_names, file.name);

  put32(index, 0);  // index_cipher_word
  put64(index, 0);  // aux_pool
  put64(index, pool_.size());
  index += pool_;
  put64(index, string_count);
  index += strings;
  put64(index, float_count);
  index += floats;
  put64(index, integer_count);
  index += integers;
  put64(index, directories.size());
  index += directory_names;
  for (const auto& directory : directories) put64(index, directory.second);
  put64(index, files.size());
  for (const PendingFile& file : files) {
    put64(index, file.record.offset);
    put64(index, file.record.packed_size);
    put64(index, file.record.size);
    put64(index, file.record.time);
    index.append(reinterpret_cast<const char*>(file.record.flags), 8);
    index.append(reinterpret_cast<const char*>(file.record.record_reserved), 8);
  }
  index += counts;
  index += file_names;
  for (const PendingFile& file : files) index.append(reinterpret_cast<const char*>(file.digest.data()), 32);

  const uint64_t index_size = index.size();
  put64(index, index_size);
  put64(index, 0);  // tail_reserved
  put64(index, 0);
  put64(index, 0);  // cipher_word
  put32(index, kArchiveVersion);
  index.append(kArchiveMagic, 4);
  return true;
}

}  // namespace

// ---- The writer ------------------------------------------------------------------------------

struct ArchiveWriter::State {
  ArchiveSink& sink;
  ArchiveWriterOptions options;
  ZSTD_CCtx* zstd = nullptr;
  uint64_t position = 0;
  bool failed = false;
  std::vector<std::pair<std::string, uint64_t>> directories;
  std::vector<PendingFile> files;
  std::vector<unsigned char> in, out;

  State(ArchiveSink& to, const ArchiveWriterOptions& chosen)
      : sink(to), options(chosen), zstd(ZSTD_createCCtx()) {}
  ~State() { ZSTD_freeCCtx(zstd); }

  bool write(const void* data, size_t size) {
    if (size && !sink.write(data, size)) return false;
    position += size;
    return true;
  }
};

ArchiveWriter::ArchiveWriter(ArchiveSink& sink, const ArchiveWriterOptions& options)
    : state_(std::make_unique<State>(sink, options)) {}

ArchiveWriter::~ArchiveWriter() = default;

uint64_t ArchiveWriter::bytes_written() const { return state_->position; }

bool ArchiveWriter::fail(std::string text) {
  state_->failed = true;
  if (error_.empty()) error_ = std::move(text);
  return false;
}

void ArchiveWriter::add_directory(std::string_view name, uint64_t time) {
  state_->directories.emplace_back(std::string(name), time);
}

bool ArchiveWriter::add_file(std::string_view name, uint64_t time, const qk::MetadataMap* metadata,
                             qk::Reader& content, uint64_t size, ArchiveFileResult* result) {
  State& s = *state_;
  if (s.failed) return false;
  if (!s.zstd) return fail("zstd can't make a compression context");
  PendingFile file;
  file.name.assign(name);
  file.record.offset = s.position;
  file.record.size = size;
  file.record.time = time;
  if (metadata) {
    file.metadata.assign(metadata->begin(), metadata->end());
    std::sort(file.metadata.begin(), file.metadata.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
  }
  ArchiveHash hash;
  uint64_t came = 0;
  size_t zret = 0;
  ZSTD_CCtx_reset(s.zstd, ZSTD_reset_session_and_parameters);
  ZSTD_CCtx_setParameter(s.zstd, ZSTD_c_compressionLevel, s.options.level);
  try {
    if (size <= kArchiveStreamAbove) {
      s.in.resize(size_t(size));
      came = read_full(content, s.in.data(), s.in.size());
      hash.update(s.in.data(), size_t(came));
      bool compressed = false;
      if (came == size && size > 0 && size >= s.options.store_below) {
        s.out.resize(ZSTD_compressBound(size_t(size)));
        zret = ZSTD_compress2(s.zstd, s.out.data(), s.out.size(), s.in.data(), size_t(size));
        if (ZSTD_isError(zret)) return fail(std::string(name) + ": zstd: " + ZSTD_getErrorName(zret));
        compressed = zret <= size - size / 16;
      }
      file.record.flags[0] = compressed ? 1 : 0;
      file.record.packed_size = compressed ? zret : size;
      if (came == size && !s.write(compressed ? s.out.data() : s.in.data(), size_t(file.record.packed_size)))
        return fail("the archive can't be written");
    } else {
      ZSTD_CCtx_setPledgedSrcSize(s.zstd, size);
      s.in.resize(kStreamPiece);
      s.out.resize(ZSTD_CStreamOutSize());
      const uint64_t start = s.position;
      for (bool last = false; !last;) {
        const size_t got =
            read_full(content, s.in.data(), size_t(std::min<uint64_t>(kStreamPiece, size - came)));
        hash.update(s.in.data(), got);
        came += got;
        last = got == 0 || came == size;
        ZSTD_inBuffer input{s.in.data(), got, 0};
        do {
          ZSTD_outBuffer output{s.out.data(), s.out.size(), 0};
          zret = ZSTD_compressStream2(s.zstd, &output, &input, last ? ZSTD_e_end : ZSTD_e_continue);
          if (ZSTD_isError(zret)) break;
          if (!s.write(s.out.data(), output.pos)) return fail("the archive can't be written");
        } while (last ? zret != 0 : input.pos < input.size);
        if (ZSTD_isError(zret)) {
          // A content that came short breaks the pledged size: told below as a change.
          if (came == size) return fail(std::string(name) + ": zstd: " + ZSTD_getErrorName(zret));
          break;
        }
      }
      file.record.flags[0] = 1;
      file.record.packed_size = s.position - start;
    }
    unsigned char more;
    if (came != size || content.read(&more, 1) != 0)
      return fail(qk_format("%.*s: changed while it was packed (%llu bytes were announced, %s came)",
                            int(name.size()), name.data(), static_cast<unsigned long long>(size),
                            came != size ? std::to_string(came).c_str() : "more"));
  } catch (const qk::ReadError& error) {
    return fail(std::string(name) + ": " + error.what());
  }
  file.digest = hash.digest();
  if (result) *result = ArchiveFileResult{file.record.compressed(), file.record.packed_size};
  s.files.push_back(std::move(file));
  return true;
}

bool ArchiveWriter::finish() {
  State& s = *state_;
  if (s.failed) return false;
  std::string index, error;
  if (!IndexBuilder().build(s.directories, s.files, index, error)) return fail(error);
  if (!s.write(index.data(), index.size())) return fail("the archive can't be written");
  return true;
}

}  // namespace qkvfs
