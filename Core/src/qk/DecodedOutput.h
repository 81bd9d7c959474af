// DecodedOutput: the consumer side that the decompressing readers share.
//
// A decompressing reader is two things: a step, which decodes up to `n` bytes into memory it is
// given and answers how many came, and this object, which turns the step into read(), skip(),
// remaining() and chunk(). It counts `position`, the bytes a consumer has taken, and `total`, the
// output size given at construction and corrected when the stream ends. It owns the chunk area, a
// heap block with `cursor`, `end` and `chunkSize` bytes behind them, which holds output that chunk()
// decoded and nobody has consumed yet; the area is made on demand.
//
// The arithmetic is exact and deliberate:
//   - read() serves unread chunk-area bytes first and decodes the rest straight into the caller's
//     memory; it never fills the area. A read below 256 bytes makes the area, empty, if none exists.
//   - skip() decodes into the area used as scratch and throws the bytes away.
//   - remaining() is `total - position`, plus the unread bytes of the area when there is one. The
//     unread bytes aren't in `position` yet, so they stand in both terms while they last.
//   - chunk() that meets the end of the stream sets `total` to `position + chunkSize`, the full size
//     of the area, not the bytes that came. A read or skip that meets the end sets it to `position`.
// remaining() is unsigned: a stream that gives more than its `total` answers a wrapped value until
// its end corrects `total`.
//
// Step is callable as `size_t(unsigned char* dst, size_t n)`, Finished as `bool()`, true once the
// stream has ended. Exceptions from the step pass through with the counts as they stood.
// Out of memory for the chunk area ends in the out-of-memory report (qk_malloc). Should the report
// return, there is no area and nothing is written through a null pointer: read() decodes straight
// into the caller's memory as ever, skip() passes over only what an area held, and chunk() gives
// an empty span.
// Threads: belongs to its reader's thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "qk/Reader.h"

namespace qk {

class DecodedOutput {
 public:
  static constexpr size_t kDefaultChunkSize = 1024;
  // Reads below this size make the chunk area if there is none.
  static constexpr size_t kSmallRead = 256;

  explicit DecodedOutput(size_t total, size_t chunkSize = kDefaultChunkSize)
      : position_(0), total_(total), chunkSize_(chunkSize) {}
  ~DecodedOutput();
  DecodedOutput(const DecodedOutput&) = delete;
  DecodedOutput& operator=(const DecodedOutput&) = delete;

  template <class Step, class Finished>
  size_t read(void* dst, size_t n, Step&& step, Finished&& finished);
  template <class Step, class Finished>
  size_t skip(size_t n, Step&& step, Finished&& finished);
  size_t remaining() const { return total_ - position_ + (area_ ? area_->unread() : 0); }
  template <class Step, class Finished>
  ByteSpan chunk(Step&& step, Finished&& finished);

  size_t position() const { return position_; }
  size_t total() const { return total_; }

 private:
  // The heap block: this header, then chunkSize bytes.
  struct Area {
    size_t cursor;
    size_t end;
    size_t unread() const { return end - cursor; }
    unsigned char* bytes() { return reinterpret_cast<unsigned char*>(this + 1); }
  };

  Area* area();  // the chunk area, made empty if there is none; null only if memory ran out

  size_t position_;
  size_t total_;
  size_t chunkSize_;
  Area* area_ = nullptr;
};

template <class Step, class Finished>
size_t DecodedOutput::read(void* dst, size_t n, Step&& step, Finished&& finished) {
  if (n < kSmallRead) area();
  unsigned char* out = static_cast<unsigned char*>(dst);
  size_t copied = 0;
  if (area_) {
    copied = std::min(n, area_->unread());
    if (copied) std::memcpy(out, area_->bytes() + area_->cursor, copied);
    area_->cursor += copied;
    position_ += copied;
  }
  size_t decoded = 0;
  if (copied < n) {
    decoded = step(out + copied, n - copied);
    position_ += decoded;
    if (finished()) total_ = position_;
  }
  return copied + decoded;
}

template <class Step, class Finished>
size_t DecodedOutput::skip(size_t n, Step&& step, Finished&& finished) {
  size_t done = 0;
  if (area_) {
    done = std::min(n, area_->unread());
    area_->cursor += done;
    position_ += done;
  }
  if (done == n) return done;
  Area* a = area();
  if (!a) return done;
  unsigned char* scratch = a->bytes();
  do {
    const size_t decoded = step(scratch, std::min(chunkSize_, n - done));
    position_ += decoded;
    done += decoded;
    if (finished()) total_ = position_;
    if (decoded == 0) break;
  } while (done < n);
  return done;
}

template <class Step, class Finished>
ByteSpan DecodedOutput::chunk(Step&& step, Finished&& finished) {
  Area* a = area();
  if (!a) return {};
  if (a->unread()) return {a->bytes() + a->cursor, a->unread()};
  const size_t decoded = step(a->bytes(), chunkSize_);
  a->cursor = 0;
  a->end = decoded;
  if (finished()) total_ = position_ + chunkSize_;
  if (decoded == 0) return {};
  return {a->bytes(), decoded};
}

}  // namespace qk
