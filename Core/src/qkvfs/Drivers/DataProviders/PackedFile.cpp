#include "qkvfs/Drivers/DataProviders/PackedFile.h"

#include <algorithm>
#include <cstring>

namespace qkvfs {

PackedFile::PackedFile(uint64_t size, const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count)
    : size_(size), open_count_(open_count), metadata_(metadata) {
  open_count_->fetch_add(1);
}

PackedFile::~PackedFile() { open_count_->fetch_sub(1); }

bool PackedFile::loaded() {
  if (!content_) content_ = load_content(qk::MemBuffer::create(0));
  return content_ != nullptr;
}

size_t PackedFile::read(void* buffer, size_t size) {
  if (!loaded() || content_->size() == 0) return 0;
  const uint64_t length = content_->size();
  const size_t count = size_t(std::min<uint64_t>(size, position_ < length ? length - position_ : 0));
  if (count) std::memcpy(buffer, static_cast<const unsigned char*>(content_->data()) + position_, count);
  position_ += count;
  return count;
}

bool PackedFile::seek(uint64_t position) {
  if (position > size_) return false;
  position_ = position;
  return true;
}

bool PackedFile::skip(int64_t count) {
  // A negative count moves back, never before the start.
  if (count < 0 ? uint64_t(-(count + 1)) + 1 > position_
                : uint64_t(count) > size_ - std::min(position_, size_))
    return false;
  position_ += uint64_t(count);
  return true;
}

qk::RefPtr<qk::IBuffer> PackedFile::buffer() {
  loaded();
  return content_;
}

bool PackedFile::meta_string(const char* key, const char*& out) {
  return qk::metadataGetString(metadata_, key, out);
}

bool PackedFile::meta_float(const char* key, double& out) {
  return qk::metadataGetFloat(metadata_, key, out);
}

bool PackedFile::meta_integer(const char* key, int64_t& out) {
  return qk::metadataGetInt(metadata_, key, out);
}

}  // namespace qkvfs
