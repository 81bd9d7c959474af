// MemBufferRecycler: a bounded lock-free FIFO queue of idle MemBuffers.
//
// A Michael-Scott queue on 129 nodes in a fixed array, each on a cache line of its own. Links are
// 16-bit node indices with a 16-bit generation beside them, packed in 32-bit words and changed by
// compare-and-swap; every change raises the generation, so that a stale link can't be mistaken for
// a fresh one when a node comes round again. Index 129 is null. One node is always the queue's
// dummy, so at most 128 buffers wait in it. The free nodes sit on a second list of the same
// links, a stack. Head, tail and the free list have a cache line each.
//
// offer() takes a free node, stores the buffer and links it behind the tail (helping a lagging
// tail along); with no free node it refuses. take() unlinks the oldest buffer and gives the old
// dummy node back to the free list. The queue owns nothing: what it holds is the caller's.
// Threads: offer() and take() from any thread at once; no system lock is taken.
#pragma once

#include <atomic>
#include <cstdint>

namespace qk {

class MemBuffer;

class MemBufferRecycler {
 public:
  static constexpr uint32_t kNodes = 129;
  static constexpr uint32_t kNull = 129;
  static constexpr uint32_t kCapacity = kNodes - 1;

  MemBufferRecycler() noexcept;
  MemBufferRecycler(const MemBufferRecycler&) = delete;
  MemBufferRecycler& operator=(const MemBufferRecycler&) = delete;

  // Queues `buffer` (not null); false when 128 are already waiting.
  bool offer(MemBuffer* buffer) noexcept;
  // The buffer that has waited longest, or null when the queue is empty.
  MemBuffer* take() noexcept;

 private:
  struct alignas(64) Node {
    std::atomic<uint32_t> next;
    std::atomic<MemBuffer*> buffer;
  };
  struct alignas(64) Root {
    std::atomic<uint32_t> link;
  };

  uint32_t pop_free_node() noexcept;
  void push_free_node(uint32_t index) noexcept;

  Node nodes_[kNodes];
  Root head_;
  Root tail_;
  Root free_;
};

}  // namespace qk
