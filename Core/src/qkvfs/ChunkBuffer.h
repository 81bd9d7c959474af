// ChunkBuffer: the read-ahead block of the file readers.
//
// One heap block, made on first need: two 64-bit words, the read position and the fill level,
// followed by `capacity` bytes. Bytes between the two are buffered: read from the file and not yet
// consumed. Owned by its reader; one thread at a time.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "qk/Reader.h"
#include "qk_memory.h"

namespace qkvfs {

class ChunkBuffer {
 public:
  explicit ChunkBuffer(size_t capacity) : capacity_(capacity) {}
  ~ChunkBuffer() { std::free(block_); }
  ChunkBuffer(const ChunkBuffer&) = delete;
  ChunkBuffer& operator=(const ChunkBuffer&) = delete;

  bool allocated() const { return block_ != nullptr; }
  size_t capacity() const { return capacity_; }
  // Makes the block, empty, if there is none. False only when memory ran out and the report
  // returned.
  bool allocate() {
    if (!block_) {
      block_ = static_cast<Head*>(qk_malloc(sizeof(Head) + capacity_));
      if (block_) *block_ = Head{0, 0};
    }
    return block_ != nullptr;
  }

  size_t buffered() const { return block_ ? size_t(block_->fill - block_->position) : 0; }
  qk::ByteSpan view() const { return {bytes() + (block_ ? block_->position : 0), buffered()}; }

  // Copies up to `n` buffered bytes to `dst` and consumes them.
  size_t take(void* dst, size_t n) {
    const size_t count = std::min(n, buffered());
    if (count) std::memcpy(dst, bytes() + block_->position, count);
    consume(count);
    return count;
  }
  // Consumes up to `n` buffered bytes.
  size_t consume(size_t n) {
    const size_t count = std::min(n, buffered());
    if (count) block_->position += count;
    return count;
  }

  // The bytes to fill (the block is made if needed; null if that failed), then filled() with the
  // count that arrived.
  unsigned char* area() { return allocate() ? bytes() : nullptr; }
  void filled(size_t count) { *block_ = Head{0, count}; }

 private:
  struct Head {
    uint64_t position;
    uint64_t fill;
  };
  unsigned char* bytes() const { return block_ ? reinterpret_cast<unsigned char*>(block_ + 1) : nullptr; }

  Head* block_ = nullptr;
  size_t capacity_;
};

}  // namespace qkvfs
