// BufferReader: a Reader over the bytes of a shared buffer.
//
// Holds one reference to the buffer for its life, so the bytes stay valid while it reads them.
// chunk() is everything that is left, in one span, with no copy. Without a buffer the reader is
// empty: remaining() is 0, read() and skip() pass over nothing, chunk() is empty.
// Threads: one thread at a time; the buffer itself may be shared with readers on other threads.
#pragma once

#include <utility>

#include "qk/IBuffer.h"
#include "qk/Reader.h"

namespace qk {

class BufferReader : public Reader {
 public:
  explicit BufferReader(RefPtr<IBuffer> buffer) : buffer_(std::move(buffer)) {}

  size_t read(void* dst, size_t n) override;
  size_t skip(size_t n) override;
  size_t remaining() override;
  ByteSpan chunk() override;

 private:
  RefPtr<IBuffer> buffer_;
  size_t position_ = 0;
};

}  // namespace qk
