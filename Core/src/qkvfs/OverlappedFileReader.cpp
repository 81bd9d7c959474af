#include "qkvfs/OverlappedFileReader.h"

#include <algorithm>

namespace qkvfs {

size_t OverlappedFileReader::read(void* dst, size_t n) {
  if (n < kSmallRead) chunk_.allocate();
  const size_t copied = chunk_.take(dst, n);
  if (copied == n) return n;
  const size_t want = size_t(std::min<uint64_t>(n - copied, left()));
  const size_t got = want ? file_->read_at(position_, static_cast<unsigned char*>(dst) + copied, want) : 0;
  position_ += got;
  return copied + got;
}

size_t OverlappedFileReader::skip(size_t n) {
  const size_t consumed = chunk_.consume(n);
  const size_t moved = size_t(std::min<uint64_t>(n - consumed, left()));
  position_ += moved;
  return consumed + moved;
}

qk::ByteSpan OverlappedFileReader::chunk() {
  if (chunk_.buffered()) return chunk_.view();
  const size_t want = size_t(std::min<uint64_t>(left(), chunk_.capacity()));
  if (want == 0) return {};
  unsigned char* area = chunk_.area();
  if (!area) return {};
  const size_t got = file_->read_at(position_, area, want);
  position_ += got;
  chunk_.filled(got);
  return chunk_.view();
}

}  // namespace qkvfs
