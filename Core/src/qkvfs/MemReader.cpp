#include "qkvfs/MemReader.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace qkvfs {

MemReader::MemReader(qk::RefPtr<qk::IBuffer> buffer, std::string_view name)
    : buffer_(std::move(buffer)), name_length_(uint16_t(std::min(name.size(), kMaxName))) {
  std::memcpy(name_, name.data(), name_length_);
  name_[name_length_] = 0;
}

size_t MemReader::read(void* buffer, size_t size) {
  const uint64_t left = length() - position_;
  const size_t count = size_t(std::min<uint64_t>(size, left));
  if (count) std::memcpy(buffer, static_cast<const unsigned char*>(buffer_->data()) + position_, count);
  position_ += count;
  return count;
}

bool MemReader::seek(uint64_t position) {
  position_ = std::min(position, length());
  return true;
}

bool MemReader::skip(int64_t count) {
  if (count >= 0) {
    if (uint64_t(count) > length() - position_) return false;
    position_ += uint64_t(count);
    return true;
  }
  const uint64_t back = uint64_t(0) - uint64_t(count);
  if (back > position_) return false;
  position_ -= back;
  return true;
}

}  // namespace qkvfs
