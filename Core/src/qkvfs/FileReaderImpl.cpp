#include "qkvfs/FileReaderImpl.h"

namespace qkvfs {

size_t FileReaderImpl::read(void* dst, size_t n) {
  if (n < kSmallRead) chunk_.allocate();
  const size_t copied = chunk_.take(dst, n);
  if (copied == n) return n;
  return copied + file_->read(static_cast<unsigned char*>(dst) + copied, n - copied);
}

size_t FileReaderImpl::skip(size_t n) {
  const size_t consumed = chunk_.consume(n);
  if (consumed == n) return n;
  const uint64_t target = file_->tell() + (n - consumed);
  return file_->seek(target) ? n : consumed;
}

size_t FileReaderImpl::remaining() {
  const uint64_t size = file_->size(), position = file_->tell();
  return chunk_.buffered() + size_t(size > position ? size - position : 0);
}

qk::ByteSpan FileReaderImpl::chunk() {
  if (chunk_.buffered()) return chunk_.view();
  unsigned char* area = chunk_.area();
  if (!area) return {};
  chunk_.filled(file_->read(area, chunk_.capacity()));
  return chunk_.view();
}

}  // namespace qkvfs
