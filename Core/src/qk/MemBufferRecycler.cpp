#include "qk/MemBufferRecycler.h"

namespace qk {

namespace {

// A link word: the node index in the low 16 bits, the generation in the high 16 bits.
constexpr uint32_t index_of(uint32_t link) { return link & 0xFFFF; }
constexpr uint32_t generation_of(uint32_t link) { return link >> 16; }
constexpr uint32_t make_link(uint32_t index, uint32_t generation) { return (generation << 16) | index; }
// `link` pointing at `index`, one generation on from `previous`.
constexpr uint32_t next_link(uint32_t previous, uint32_t index) {
  return make_link(index, (generation_of(previous) + 1) & 0xFFFF);
}

}  // namespace

MemBufferRecycler::MemBufferRecycler() noexcept {
  // Node 0 is the first dummy; nodes 1 to 128 are free, in order.
  for (uint32_t i = 0; i < kNodes; ++i) {
    nodes_[i].next.store(make_link(i == 0 || i + 1 == kNodes ? kNull : i + 1, 0), std::memory_order_relaxed);
    nodes_[i].buffer.store(nullptr, std::memory_order_relaxed);
  }
  head_.link.store(make_link(0, 0), std::memory_order_relaxed);
  tail_.link.store(make_link(0, 0), std::memory_order_relaxed);
  free_.link.store(make_link(1, 0), std::memory_order_release);
}

// ---- The free list ---------------------------------------------------------------------------

uint32_t MemBufferRecycler::pop_free_node() noexcept {
  uint32_t top = free_.link.load(std::memory_order_acquire);
  for (;;) {
    const uint32_t index = index_of(top);
    if (index == kNull) return kNull;
    const uint32_t below = index_of(nodes_[index].next.load(std::memory_order_acquire));
    if (free_.link.compare_exchange_weak(top, next_link(top, below), std::memory_order_acq_rel,
                                         std::memory_order_acquire))
      return index;
  }
}

void MemBufferRecycler::push_free_node(uint32_t index) noexcept {
  Node& node = nodes_[index];
  uint32_t top = free_.link.load(std::memory_order_acquire);
  for (;;) {
    const uint32_t own = node.next.load(std::memory_order_relaxed);
    node.next.store(next_link(own, index_of(top)), std::memory_order_relaxed);
    if (free_.link.compare_exchange_weak(top, next_link(top, index), std::memory_order_acq_rel,
                                         std::memory_order_acquire))
      return;
  }
}

// ---- The queue -------------------------------------------------------------------------------

bool MemBufferRecycler::offer(MemBuffer* buffer) noexcept {
  const uint32_t index = pop_free_node();
  if (index == kNull) return false;
  Node& node = nodes_[index];
  node.buffer.store(buffer, std::memory_order_relaxed);
  node.next.store(next_link(node.next.load(std::memory_order_relaxed), kNull), std::memory_order_release);
  for (;;) {
    uint32_t tail = tail_.link.load(std::memory_order_acquire);
    uint32_t next = nodes_[index_of(tail)].next.load(std::memory_order_acquire);
    if (tail != tail_.link.load(std::memory_order_acquire)) continue;
    if (index_of(next) == kNull) {
      if (nodes_[index_of(tail)].next.compare_exchange_strong(next, next_link(next, index),
                                                              std::memory_order_acq_rel)) {
        tail_.link.compare_exchange_strong(tail, next_link(tail, index), std::memory_order_acq_rel);
        return true;
      }
    } else {
      // The tail lags behind a node another thread linked: move it on, then try again.
      tail_.link.compare_exchange_strong(tail, next_link(tail, index_of(next)), std::memory_order_acq_rel);
    }
  }
}

MemBuffer* MemBufferRecycler::take() noexcept {
  for (;;) {
    uint32_t head = head_.link.load(std::memory_order_acquire);
    uint32_t tail = tail_.link.load(std::memory_order_acquire);
    const uint32_t next = nodes_[index_of(head)].next.load(std::memory_order_acquire);
    if (head != head_.link.load(std::memory_order_acquire)) continue;
    if (index_of(head) == index_of(tail)) {
      if (index_of(next) == kNull) return nullptr;
      tail_.link.compare_exchange_strong(tail, next_link(tail, index_of(next)), std::memory_order_acq_rel);
      continue;
    }
    if (index_of(next) == kNull) continue;  // a snapshot taken while the head moved
    MemBuffer* buffer = nodes_[index_of(next)].buffer.load(std::memory_order_relaxed);
    if (head_.link.compare_exchange_strong(head, next_link(head, index_of(next)),
                                           std::memory_order_acq_rel)) {
      push_free_node(index_of(head));
      return buffer;
    }
  }
}

}  // namespace qk
