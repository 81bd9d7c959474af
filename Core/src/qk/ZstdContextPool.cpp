#include "qk/ZstdContextPool.h"

#include <new>

#include "qk/SpinWordStack.h"

namespace qk {

std::atomic<int64_t> ZstdContextPool::live_count{0};

namespace {

// A node's first word is the stacks' link.
struct Node {
  void* link = nullptr;
  ZstdStreamContext* context = nullptr;
};

struct Stacks {
  Node nodes[ZstdContextPool::kMaxIdle];
  SpinWordStack emptyNodes;
  SpinWordStack idle;

  Stacks() {
    for (Node& node : nodes) emptyNodes.push(&node);
  }
};

Stacks& stacks() {
  static Stacks* const made = new Stacks;
  return *made;
}

}  // namespace

ZstdStreamContext* ZstdContextPool::acquire() {
  Stacks& s = stacks();
  if (Node* node = static_cast<Node*>(s.idle.pop())) {
    ZstdStreamContext* context = node->context;
    node->context = nullptr;
    s.emptyNodes.push(node);
    return context;
  }
  ZstdStreamContext* context = new ZstdStreamContext;
  context->dctx = ZSTD_createDCtx();
  if (!context->dctx) {
    delete context;
    throw std::bad_alloc();
  }
  live_count.fetch_add(1, std::memory_order_relaxed);
  return context;
}

void ZstdContextPool::release(ZstdStreamContext* context) {
  if (!context) return;
  Stacks& s = stacks();
  Node* node = static_cast<Node*>(s.emptyNodes.pop());
  if (!node) {
    ZSTD_freeDCtx(context->dctx);
    delete context;
    live_count.fetch_sub(1, std::memory_order_relaxed);
    return;
  }
  ZSTD_DCtx_reset(context->dctx, ZSTD_reset_session_and_parameters);
  context->input = {nullptr, 0, 0};
  context->finished = false;
  node->context = context;
  s.idle.push(node);
}

}  // namespace qk
