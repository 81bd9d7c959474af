// What the zip driver and the archive driver share: an entry's bytes read from a sub-range of
// the archive into one allocation, and the pooled objects that hand an entry out (PackedFile in
// DataProviders/, PackedFuture and PackedReader here).
//
// Sub-range reads. A plain entry is one positional read of its `size` bytes into a MemBuffer. A
// packed entry gets one MemBuffer of packed_size + size bytes, with the packed bytes read behind
// the room for the result, so that the driver decompresses from the back part into the front part
// of the same allocation and then shrinks the buffer to `size`. Sizes come from untrusted
// headers: when an allocation would exceed kEntryAllocationChecked, the range must lie inside the
// file as it is now, or the read counts as short without allocating anything; a range that
// starts at or beyond the end logs the positional read's own line
// "[<path>] GetOverlappedResult(<size>): End of file". Smaller ranges are read as they are and
// tell by coming short.
//
// Pooled objects. Entry files, futures and readers come from one ObjectPool per class, count in
// their driver's `open_count` from creation to destruction, and hold plain pointers into the
// driver, which the Manager keeps alive while any of them lives. release() ends one. Threads: any
// thread may make and read them at once (positional reads carry their own offset); one object
// belongs to one thread at a time.
#pragma once

#include <atomic>
#include <cstdint>
#include <new>
#include <utility>

#include "qk/IBuffer.h"
#include "qk/MemBuffer.h"
#include "qk/ObjectPool.h"
#include "qk/Reader.h"
#include "qkvfs/IBufFuture.h"
#include "qkvfs/OverlappedFile.h"
#include "qkvfs/OverlappedFileReader.h"

namespace qkvfs {

// The read-ahead of an entry reader's range reader.
inline constexpr size_t kEntryChunkSize = 0x100000;
// Allocations above this size are made only for ranges the file holds.
inline constexpr uint64_t kEntryAllocationChecked = 0x100000;

// True when `length` bytes at `offset` may be read for an allocation of `allocation` bytes: always
// for small allocations, otherwise when the range lies inside the file (see above).
bool entry_range_readable(OverlappedFile& file, uint64_t offset, uint64_t length, uint64_t allocation);

// `size` plain bytes at `offset`, in `fill`'s buffer resized (MemBuffer::reuse) or a new one.
// Null when no buffer can be had or the read comes short.
qk::RefPtr<qk::IBuffer> read_plain_entry(OverlappedFile& file, uint64_t offset, uint64_t size,
                                         qk::RefPtr<qk::MemBuffer>& fill);

// A buffer of packed_size + size bytes whose part from byte `size` on holds the `packed_size`
// bytes at `offset`. Null when no buffer can be had or the read comes short.
qk::RefPtr<qk::MemBuffer> read_packed_entry(OverlappedFile& file, uint64_t offset, uint64_t packed_size,
                                            uint64_t size, qk::RefPtr<qk::MemBuffer>& fill);

// A T made in an item of `pool`; null when the pool is dry. A constructor that throws (a decoder
// that can't start) gives its item back before the exception goes on.
template <class T, class... Args>
T* make_pooled(qk::ObjectPool& pool, Args&&... args) {
  void* item = pool.acquire();
  if (!item) return nullptr;
  try {
    return new (item) T(std::forward<Args>(args)...);
  } catch (...) {
    pool.release(item);
    throw;
  }
}

// The base of the drivers' futures: the archive's file and the driver's open counter.
class PackedFuture : public IBufFuture {
 protected:
  PackedFuture(OverlappedFile* file, std::atomic<uint64_t>* open_count)
      : file_(file), open_count_(open_count) {
    open_count_->fetch_add(1);
  }
  ~PackedFuture() override { open_count_->fetch_sub(1); }

  OverlappedFile* file_;

 private:
  std::atomic<uint64_t>* open_count_;
};

// An entry read as a stream: a range reader over the entry's bytes in the archive, with chunk
// size kEntryChunkSize, and a decompressing reader (Decoder) on it whose total is the entry's
// size. A `plain` reader serves the range reader's bytes unchanged and leaves the decoder idle.
template <class Decoder>
class PackedReader : public qk::Reader {
 public:
  size_t read(void* dst, size_t n) override { return plain_ ? range_.read(dst, n) : decoder_.read(dst, n); }
  size_t skip(size_t n) override { return plain_ ? range_.skip(n) : decoder_.skip(n); }
  size_t remaining() override { return plain_ ? range_.remaining() : decoder_.remaining(); }
  qk::ByteSpan chunk() override { return plain_ ? range_.chunk() : decoder_.chunk(); }

 protected:
  template <class... DecoderArgs>
  PackedReader(OverlappedFile* file, uint64_t offset, uint64_t packed_size, uint64_t size,
               std::atomic<uint64_t>* open_count, bool plain, DecoderArgs... decoder_args)
      : range_(file, offset, offset + packed_size < offset ? UINT64_MAX : offset + packed_size,
               kEntryChunkSize),
        decoder_(&range_, size_t(size), decoder_args...),
        open_count_(open_count),
        plain_(plain) {
    open_count_->fetch_add(1);
  }
  ~PackedReader() override { open_count_->fetch_sub(1); }

 private:
  // The source first: it must outlive the decoder that stands on it.
  OverlappedFileReader range_;
  Decoder decoder_;
  std::atomic<uint64_t>* open_count_;
  bool plain_;
};

}  // namespace qkvfs
