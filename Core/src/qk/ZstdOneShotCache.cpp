#include "qk/ZstdOneShotCache.h"

#include <new>

#include "qk/SpinWordStack.h"

namespace qk {

namespace {

// A node's first word is the stacks' link.
struct Node {
  void* link = nullptr;
  ZSTD_DCtx* context = nullptr;
};

struct Stacks {
  SpinWordStack idle;
  SpinWordStack empty_nodes;
};

Stacks& stacks() {
  static Stacks* const made = new Stacks;
  return *made;
}

}  // namespace

ZSTD_DCtx* ZstdOneShotCache::acquire() {
  Stacks& s = stacks();
  if (Node* node = static_cast<Node*>(s.idle.pop())) {
    ZSTD_DCtx* context = node->context;
    node->context = nullptr;
    s.empty_nodes.push(node);
    return context;
  }
  ZSTD_DCtx* context = ZSTD_createDCtx();
  if (!context) throw std::bad_alloc();
  return context;
}

void ZstdOneShotCache::release(ZSTD_DCtx* context) {
  if (!context) return;
  Stacks& s = stacks();
  Node* node = static_cast<Node*>(s.empty_nodes.pop());
  if (!node) node = new Node;
  node->context = context;
  s.idle.push(node);
}

}  // namespace qk
