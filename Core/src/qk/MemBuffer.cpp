#include "qk/MemBuffer.h"

#include <new>
#include <utility>

#include "platform/qk_platform.h"
#include "qk/MemBufferRecycler.h"
#include "qk_memory.h"

namespace qk {

// The pool is made before the queue of idle buffers (first use, below) and so ends after it: the
// queue's drain at exit gives its items back to a live pool.
ObjectPool MemBuffer::pool{"Core/src/qk/MemBuffer", sizeof(MemBuffer), 256};
std::atomic<int64_t> MemBuffer::live_count{0};
std::atomic<int64_t> MemBuffer::live_bytes{0};

// The process's queue of idle buffers, drained into the pool at exit. Offers made after the drain
// are refused, so such buffers are freed at once.
class IdleMemBuffers {
 public:
  static IdleMemBuffers& instance() {
    static IdleMemBuffers idle;
    return idle;
  }

  ~IdleMemBuffers() {
    closed_.store(true, std::memory_order_release);
    while (MemBuffer* buffer = queue_.take()) MemBuffer::retire(buffer);
  }

  bool offer(MemBuffer* buffer) { return !closed_.load(std::memory_order_acquire) && queue_.offer(buffer); }
  MemBuffer* take() { return closed_.load(std::memory_order_acquire) ? nullptr : queue_.take(); }

 private:
  IdleMemBuffers() = default;

  MemBufferRecycler queue_;
  static std::atomic<bool> closed_;  // constant-initialised; stays readable after the drain
};

std::atomic<bool> IdleMemBuffers::closed_{false};

MemBuffer::~MemBuffer() { qk_platform_aligned_free(data_); }

RefPtr<MemBuffer> MemBuffer::create(size_t size) {
  MemBuffer* buffer = IdleMemBuffers::instance().take();
  if (!buffer) {
    void* item = pool.acquire();
    if (!item) return nullptr;
    buffer = new (item) MemBuffer;
    live_count.fetch_add(1, std::memory_order_relaxed);
  }
  buffer->resize(size);
  return RefPtr<MemBuffer>(buffer);
}

RefPtr<MemBuffer> MemBuffer::reuse(RefPtr<MemBuffer>& held, size_t size) {
  RefPtr<MemBuffer> buffer(std::move(held));
  if (!buffer) return create(size);
  buffer->resize(size);
  return buffer;
}

void MemBuffer::resize(size_t size) {
  if (size <= capacity_) {
    size_ = size;
    return;
  }
  void* grown = qk_platform_aligned_realloc(data_, size);
  if (!grown) {
    qk_out_of_memory("qk_realloc", static_cast<long long>(size));
    return;
  }
  live_bytes.fetch_add(int64_t(size) - int64_t(capacity_), std::memory_order_relaxed);
  data_ = static_cast<unsigned char*>(grown);
  capacity_ = size;
  size_ = size;
}

void MemBuffer::destroy() {
  size_ = 0;
  if (IdleMemBuffers::instance().offer(this)) return;
  retire(this);
}

void MemBuffer::retire(MemBuffer* buffer) {
  live_bytes.fetch_sub(int64_t(buffer->capacity_), std::memory_order_relaxed);
  live_count.fetch_sub(1, std::memory_order_relaxed);
  buffer->~MemBuffer();
  pool.release(buffer);
}

}  // namespace qk
