#include "qkvfs/MappedFileBuffer.h"

#include <new>

namespace qkvfs {

qk::ObjectPool MappedFileBuffer::pool{"Core/src/qkvfs/MappedFileBuffer", sizeof(MappedFileBuffer), 512};

void MappedFileBuffer::close_handles(qk_platform_file& file, qk_platform_mapping& mapping) {
  if (mapping.valid()) qk_platform_mapping_close(mapping);
  if (file.valid()) qk_platform_close(file);
  mapping = qk_platform_mapping{};
  file = qk_platform_file{};
}

qk::RefPtr<qk::IBuffer> MappedFileBuffer::create(qk_platform_file file, qk_platform_mapping mapping,
                                                 size_t size) {
  void* item = pool.acquire();
  if (!item) {
    close_handles(file, mapping);
    return nullptr;
  }
  auto* buffer = new (item) MappedFileBuffer(file, mapping, size);
  if (size != 0) {
    buffer->data_ = qk_platform_map_view(mapping, size);
    if (!buffer->data_) {
      close_handles(buffer->file_, buffer->mapping_);
      buffer->size_ = 0;
    }
  }
  return qk::RefPtr<qk::IBuffer>(buffer);
}

MappedFileBuffer::~MappedFileBuffer() {
  if (data_) qk_platform_unmap_view(data_, size_);
  close_handles(file_, mapping_);
}

void MappedFileBuffer::destroy() {
  this->~MappedFileBuffer();
  pool.release(this);
}

}  // namespace qkvfs
