#include "qkvfs/Drivers/PackedEntries.h"

#include "qkvfs/FileFailure.h"

namespace qkvfs {

bool entry_range_readable(OverlappedFile& file, uint64_t offset, uint64_t length, uint64_t allocation) {
  if (allocation <= kEntryAllocationChecked) return true;
  uint64_t file_size = 0;
  if (!file.size(file_size)) return false;
  if (offset >= file_size) {
    log_file_failure_text(file.path(), "End of file", "GetOverlappedResult(%d)", int(length));
    return false;
  }
  return length <= file_size - offset;
}

qk::RefPtr<qk::IBuffer> read_plain_entry(OverlappedFile& file, uint64_t offset, uint64_t size,
                                         qk::RefPtr<qk::MemBuffer>& fill) {
  if (!entry_range_readable(file, offset, size, size)) return nullptr;
  qk::RefPtr<qk::MemBuffer> buffer = qk::MemBuffer::reuse(fill, size_t(size));
  if (!buffer || buffer->size() != size) return nullptr;
  if (size && file.read_at(offset, buffer->mutableData(), size_t(size)) != size) return nullptr;
  return qk::RefPtr<qk::IBuffer>(std::move(buffer));
}

qk::RefPtr<qk::MemBuffer> read_packed_entry(OverlappedFile& file, uint64_t offset, uint64_t packed_size,
                                            uint64_t size, qk::RefPtr<qk::MemBuffer>& fill) {
  const uint64_t total = packed_size + size;
  if (total < size || !entry_range_readable(file, offset, packed_size, total)) return nullptr;
  qk::RefPtr<qk::MemBuffer> buffer = qk::MemBuffer::reuse(fill, size_t(total));
  if (!buffer || buffer->size() != total) return nullptr;
  unsigned char* packed = static_cast<unsigned char*>(buffer->mutableData()) + size;
  if (packed_size && file.read_at(offset, packed, size_t(packed_size)) != packed_size) return nullptr;
  return buffer;
}

}  // namespace qkvfs
