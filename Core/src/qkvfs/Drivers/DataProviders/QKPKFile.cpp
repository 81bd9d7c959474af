#include "qkvfs/Drivers/DataProviders/QKPKFile.h"

#include <zstd.h>

#include <algorithm>

#include "qk/ZstdOneShotCache.h"
#include "qk_log.h"
#include "qkvfs/Drivers/PackedEntries.h"

namespace qkvfs {

qk::ObjectPool QKPKFile::pool{"Core/src/qkvfs/Drivers/DataProviders/QKPKFile", sizeof(QKPKFile), 512};

namespace {

// The largest zstd frame header (ZSTD_FRAMEHEADERSIZE_MAX of zstd's experimental interface).
constexpr size_t kFrameHeaderMax = 18;

// The most a zstd frame of `packed` bytes can make: every block has a 3-byte header and makes at
// most ZSTD_BLOCKSIZE_MAX bytes.
uint64_t zstd_output_bound(uint64_t packed) { return (packed / 3 + 1) * uint64_t(ZSTD_BLOCKSIZE_MAX); }

bool content_size_is(const void* frame, size_t length, uint64_t size) {
  const unsigned long long content = ZSTD_getFrameContentSize(frame, length);
  return content != ZSTD_CONTENTSIZE_UNKNOWN && content != ZSTD_CONTENTSIZE_ERROR && content == size;
}

void log_entry(const char* format, std::string_view name) {
  qk_log(QKCORESTATIC, qk::log::ERROR, format, int(name.size()), name.data());
}

// A compressed entry that claims more than its frame could make: the message the read would end in,
// told from the frame's header alone, without the allocation.
void refuse_impossible_frame(OverlappedFile& archive, const FileRecord& record, std::string_view name) {
  unsigned char header[kFrameHeaderMax];
  const size_t want = size_t(std::min<uint64_t>(record.packed_size, sizeof header));
  const size_t got = archive.read_at(record.offset, header, want);
  if (!content_size_is(header, got, record.size))
    log_entry("Can't extract file %.*s.", name);
  else
    log_entry("Can't decompress file %.*s.", name);
}

}  // namespace

QKPKFile* QKPKFile::make(OverlappedFile* archive, const FileRecord& record, const ArchiveName& name,
                         const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count) {
  void* item = pool.acquire();
  return item ? new (item) QKPKFile(archive, record, name, metadata, open_count) : nullptr;
}

QKPKFile::QKPKFile(OverlappedFile* archive, const FileRecord& record, const ArchiveName& name,
                   const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count)
    : PackedFile(record.size, metadata, open_count), archive_(archive), record_(record), name_(name) {}

void QKPKFile::release() {
  this->~QKPKFile();
  pool.release(this);
}

qk::RefPtr<qk::IBuffer> QKPKFile::load_content(qk::RefPtr<qk::MemBuffer> empty) {
  if (!empty) qk_log(QKCORESTATIC, qk::log::DEBUG, "Not enough memory to read %s", name_.path.c_str());
  return read_entry(*archive_, record_, name_.path.view(), empty);
}

qk::RefPtr<qk::IBuffer> QKPKFile::read_entry(OverlappedFile& archive, const FileRecord& record,
                                             std::string_view name, qk::RefPtr<qk::MemBuffer>& fill) {
  if (!record.compressed()) return read_plain_entry(archive, record.offset, record.size, fill);

  const uint64_t total = record.packed_size + record.size;
  if (total > kEntryAllocationChecked && record.size > zstd_output_bound(record.packed_size)) {
    if (entry_range_readable(archive, record.offset, record.packed_size, total))
      refuse_impossible_frame(archive, record, name);
    return nullptr;
  }
  qk::RefPtr<qk::MemBuffer> buffer =
      read_packed_entry(archive, record.offset, record.packed_size, record.size, fill);
  if (!buffer) return nullptr;
  unsigned char* result = static_cast<unsigned char*>(buffer->mutableData());
  const unsigned char* packed = result + record.size;
  if (!content_size_is(packed, size_t(record.packed_size), record.size)) {
    log_entry("Can't extract file %.*s.", name);
    return nullptr;
  }
  const qk::ZstdOneShotContext context;
  const size_t made =
      ZSTD_decompressDCtx(context.get(), result, size_t(record.size), packed, size_t(record.packed_size));
  if (made != record.size) {
    log_entry("Can't decompress file %.*s.", name);
    return nullptr;
  }
  buffer->resize(size_t(record.size));
  return qk::RefPtr<qk::IBuffer>(std::move(buffer));
}

}  // namespace qkvfs
