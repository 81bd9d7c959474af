// ZstdContextPool: the process-wide cache of zstd stream contexts.
//
// Contexts are costly to make, so released ones are kept for the next reader, at most eight of
// them; a ninth released context is freed at once. The pool is two spin-word stacks over eight
// fixed nodes: one holds the nodes that are empty (all eight at start), the other the nodes that
// hold an idle context. Releasing takes an empty node, resets the context, fills the node and puts
// it on the idle stack; acquiring takes an idle node, empties it and puts it back. So no more than
// eight contexts can ever be idle, and neither operation takes a lock.
//
// Made on first use and never destroyed, so that a reader ending during process exit still finds
// it; idle contexts are left to the process's end.
// Threads: acquire and release from any thread. A context belongs to one reader at a time.
#pragma once

#include <zstd.h>

#include <atomic>
#include <cstdint>

namespace qk {

// One decompression stream: zstd's context, the input span it is working on, and whether the
// stream has ended (or failed).
struct ZstdStreamContext {
  ZSTD_DCtx* dctx = nullptr;
  ZSTD_inBuffer input{nullptr, 0, 0};
  bool finished = false;
};

class ZstdContextPool {
 public:
  static constexpr int kMaxIdle = 8;

  // An idle context, or a new one; fresh either way. A context zstd can't make throws bad_alloc.
  static ZstdStreamContext* acquire();
  // Takes the context back: kept idle if a node is free, freed otherwise. Null does nothing.
  static void release(ZstdStreamContext* context);

  // Contexts that exist, idle or in use. Diagnostics only.
  static std::atomic<int64_t> live_count;

  struct Release {
    void operator()(ZstdStreamContext* context) const { ZstdContextPool::release(context); }
  };
};

}  // namespace qk
