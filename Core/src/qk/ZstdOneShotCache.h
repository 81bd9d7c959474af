// ZstdOneShotCache: the process-wide cache of zstd contexts for whole-entry decompression.
//
// An archive entry that is read whole is decompressed in one call (ZSTD_decompressDCtx), which
// needs a context but no stream state. Making a context costs far more than a small entry's
// decompression, so contexts are taken from here and always put back: a context is made only
// when every cached one is in use, and the cache grows to the most ever used at once. Unlike the
// stream contexts (ZstdContextPool, at most eight idle) nothing bounds it.
//
// Two spin-word stacks of small nodes, each holding one context: the idle ones, and the empty
// nodes that wait for a context coming back. Nodes and contexts live until the process ends; the
// cache is made on first use and never destroyed, so a read during process exit still finds it.
// Threads: acquire and release from any thread, without a lock. A context belongs to one caller
// between the two.
#pragma once

#include <zstd.h>

namespace qk {

class ZstdOneShotCache {
 public:
  // An idle context, or a new one. A context zstd can't make throws std::bad_alloc.
  static ZSTD_DCtx* acquire();
  // Puts the context back for the next caller. Null does nothing.
  static void release(ZSTD_DCtx* context);
};

// Holds one context from the cache for a scope.
class ZstdOneShotContext {
 public:
  ZstdOneShotContext() : context_(ZstdOneShotCache::acquire()) {}
  ~ZstdOneShotContext() { ZstdOneShotCache::release(context_); }
  ZstdOneShotContext(const ZstdOneShotContext&) = delete;
  ZstdOneShotContext& operator=(const ZstdOneShotContext&) = delete;

  ZSTD_DCtx* get() const { return context_; }

 private:
  ZSTD_DCtx* context_;
};

}  // namespace qk
