#include "qkvfs/Drivers/DataProviders/ZFile.h"

#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "qk_log.h"
#include "qkvfs/Drivers/PackedEntries.h"

namespace qkvfs {

qk::ObjectPool ZFile::pool{"Core/src/qkvfs/Drivers/DataProviders/ZFile", sizeof(ZFile), 512};

namespace {

constexpr int kInitFailed = -1;
constexpr int kUnknownMethod = -2;

// The most deflate makes of `packed` bytes: a 258-byte match in two bits.
uint64_t deflate_output_bound(uint64_t packed) { return (packed + 1) * 1032; }

void log_decompress_error(int code, const ZEntry& entry) {
  qk_log(QKCORESTATIC, qk::log::ERROR, "Decompress error: %d, file: %s", code, entry.stored_path.c_str());
}

// Inflates `packed` raw deflate bytes into exactly `size` bytes at `out`; 0 (Z_OK) on success,
// else the code to report. One call of inflate for anything below 4 GiB, in slices beyond.
int inflate_whole(const unsigned char* packed, uint64_t packed_size, unsigned char* out, uint64_t size) {
  z_stream stream;
  std::memset(&stream, 0, sizeof stream);
  if (inflateInit2(&stream, -15) != Z_OK) return kInitFailed;
  stream.next_in = const_cast<Bytef*>(packed);
  stream.next_out = out;
  uint64_t in_left = packed_size, out_left = size;
  int ret;
  do {
    stream.avail_in = uInt(std::min<uint64_t>(in_left, UINT_MAX));
    stream.avail_out = uInt(std::min<uint64_t>(out_left, UINT_MAX));
    const uInt in_given = stream.avail_in, out_given = stream.avail_out;
    const bool last = in_given == in_left && out_given == out_left;
    ret = inflate(&stream, last ? Z_FINISH : Z_NO_FLUSH);
    in_left -= in_given - stream.avail_in;
    out_left -= out_given - stream.avail_out;
    if (last || (in_given == stream.avail_in && out_given == stream.avail_out)) break;
  } while (ret == Z_OK);
  inflateEnd(&stream);
  if (ret != Z_STREAM_END) return ret;
  return out_left == 0 ? Z_OK : Z_DATA_ERROR;
}

}  // namespace

ZFile* ZFile::make(OverlappedFile* archive, const ZEntry* entry, const std::string* source,
                   const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count) {
  void* item = pool.acquire();
  return item ? new (item) ZFile(archive, entry, source, metadata, open_count) : nullptr;
}

ZFile::ZFile(OverlappedFile* archive, const ZEntry* entry, const std::string* source,
             const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count)
    : PackedFile(entry->size, metadata, open_count), archive_(archive), entry_(entry), source_(source) {}

void ZFile::release() {
  this->~ZFile();
  pool.release(this);
}

qk::RefPtr<qk::IBuffer> ZFile::load_content(qk::RefPtr<qk::MemBuffer> empty) {
  if (!empty) {
    qk_log(QKCORESTATIC, qk::log::ERROR, "Not enough memory to decompress: %s", entry_->stored_path.c_str());
    return nullptr;
  }
  return read_entry(*archive_, *entry_, empty);
}

qk::RefPtr<qk::IBuffer> ZFile::read_entry(OverlappedFile& archive, const ZEntry& entry,
                                          qk::RefPtr<qk::MemBuffer>& fill) {
  if (entry.method == 0) return read_plain_entry(archive, entry.offset, entry.size, fill);

  const bool deflated = entry.method == 8 || entry.method == 9;
  const uint64_t total = entry.packed_size + entry.size;
  if (total > kEntryAllocationChecked &&
      (!deflated || entry.size > deflate_output_bound(entry.packed_size))) {
    if (total >= entry.size && entry_range_readable(archive, entry.offset, entry.packed_size, total))
      log_decompress_error(deflated ? Z_DATA_ERROR : kUnknownMethod, entry);
    return nullptr;
  }
  qk::RefPtr<qk::MemBuffer> buffer =
      read_packed_entry(archive, entry.offset, entry.packed_size, entry.size, fill);
  if (!buffer) return nullptr;
  if (!deflated) {
    log_decompress_error(kUnknownMethod, entry);
    return nullptr;
  }
  unsigned char* out = static_cast<unsigned char*>(buffer->mutableData());
  if (const int code = inflate_whole(out + entry.size, entry.packed_size, out, entry.size)) {
    log_decompress_error(code, entry);
    return nullptr;
  }
  buffer->resize(size_t(entry.size));
  return qk::RefPtr<qk::IBuffer>(std::move(buffer));
}

}  // namespace qkvfs
