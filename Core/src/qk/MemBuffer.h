// MemBuffer: an IBuffer of bytes on the heap, 16-byte aligned, that is recycled with its memory.
//
// `capacity` is what has been allocated and `size` what is in use. There is no growth factor:
// capacity is exactly the largest size yet asked for. The objects come from MemBuffer::pool.
//
// Life: create() hands out a buffer with its first reference. Its producer fills it through
// mutableData() before sharing it; from then on it is read-only. The last release sets its size to
// 0 and offers it to the process-wide MemBufferRecycler: up to 128 idle buffers wait there with
// their memory, however large, and the next create() takes the one that has waited longest, so
// the usual create() allocates nothing. A buffer the queue refuses is freed and goes back to the
// pool. At process exit the queue is drained and freed; buffers still held by static objects of
// other files at that moment aren't supported.
//
// The counters count live buffers (in use or idle) and their bytes by capacity. Nothing in the
// system reads them. Threads: create and release from any thread; a buffer being filled belongs to
// its producer.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "qk/IBuffer.h"
#include "qk/ObjectPool.h"

namespace qk {

class MemBuffer final : public RefCountedImpl<IBuffer> {
 public:
  // A buffer of `size` bytes whose contents are undefined: a recycled buffer still holds its old
  // bytes, and create(0) of a fresh one has null data. Null only when the pool can't give an item.
  static RefPtr<MemBuffer> create(size_t size);

  // `held`'s buffer resized to `size` whatever it holds, or a new one when `held` is empty. The
  // buffer goes to the caller and `held` is left empty.
  static RefPtr<MemBuffer> reuse(RefPtr<MemBuffer>& held, size_t size);

  // Sets the size, growing the memory to exactly `size` when it is beyond the capacity; the bytes
  // up to the old size are kept. Running out of memory ends in the out-of-memory report for
  // "qk_realloc"; should that return, the buffer is left as it was, so size() tells.
  void resize(size_t size);

  const void* data() const override { return data_; }
  size_t size() const override { return size_; }
  void* mutableData() { return data_; }
  size_t capacity() const { return capacity_; }

  static ObjectPool pool;
  static std::atomic<int64_t> live_count;
  static std::atomic<int64_t> live_bytes;

 protected:
  // Recycles the buffer, or frees it when the queue is full.
  void destroy() override;

 private:
  friend class IdleMemBuffers;

  MemBuffer() = default;
  ~MemBuffer() override;
  // Frees memory and object for good, with the counters.
  static void retire(MemBuffer* buffer);

  unsigned char* data_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

}  // namespace qk
