#include "qk/BufferReader.h"

#include <algorithm>
#include <cstring>

namespace qk {

size_t BufferReader::remaining() { return buffer_ ? buffer_->size() - position_ : 0; }

size_t BufferReader::read(void* dst, size_t n) {
  const ByteSpan left = chunk();
  const size_t count = std::min(n, left.size);
  if (count) std::memcpy(dst, left.data, count);
  position_ += count;
  return count;
}

size_t BufferReader::skip(size_t n) {
  const size_t count = std::min(n, remaining());
  position_ += count;
  return count;
}

ByteSpan BufferReader::chunk() {
  const size_t left = remaining();
  if (left == 0) return {};
  return {static_cast<const unsigned char*>(buffer_->data()) + position_, left};
}

}  // namespace qk
