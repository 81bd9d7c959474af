// ObjectPool: fixed-size items handed out from chunks, one static pool per pooled class.
//
// A chunk is one block from qk_malloc: a link word, then `items_per_chunk` items aligned by the
// mask. Chunks and free items sit on two spin-word stacks, so acquire and release take no system
// lock and may be called from any thread. The pool holds raw memory: the pooled type's
// constructor and destructor run around acquire and release (pool_new and pool_delete below).
// Chunks are only given back when the pool is destroyed at process exit; free items are then
// overwritten with the sentinel 0xDEADBEEFFEEDDEAD. Items still in use at that moment stand in
// freed memory, and nothing checks that.
//
// A pooled class declares its pool beside its definition, named by the class's source path:
//
//   qk::ObjectPool MemBuffer::pool{"Core/src/qk/MemBuffer", sizeof(MemBuffer), 256};
//
// and its objects are released into it, never deleted.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "qk/SpinWordStack.h"

namespace qk {

class ObjectPool {
 public:
  static constexpr uint64_t kSentinel = 0xDEADBEEFFEEDDEADull;

  // `item_size` is rounded up to the alignment and to at least one link word; the alignment mask
  // is 7 for every pool of the system.
  ObjectPool(const char* name, uint32_t item_size, uint32_t items_per_chunk,
             uint32_t alignment_mask = 7);
  ~ObjectPool();
  ObjectPool(const ObjectPool&) = delete;
  ObjectPool& operator=(const ObjectPool&) = delete;

  // A free item; a new chunk when none is free. Null only when the chunk's allocation failed and
  // the out-of-memory report returned.
  void* acquire();
  // Gives an item of this pool back.
  void release(void* item);
  // Makes `chunks` chunks ahead of need, all of their items free.
  void reserve(uint32_t chunks);

  uint32_t item_size() const { return item_size_; }
  uint32_t items_per_chunk() const { return items_per_chunk_; }
  uint32_t chunks_made() const { return chunks_made_.load(); }
  uint32_t items_in_use() const { return items_in_use_.load(); }
  const char* name() const { return name_; }

 private:
  // Makes one chunk and pushes it; answers its first item, or null when memory ran out.
  unsigned char* make_chunk();

  uint32_t alignment_mask_;
  uint32_t item_size_;
  uint32_t items_per_chunk_;
  std::atomic<uint32_t> chunks_made_{0};
  SpinWordStack chunks_;
  SpinWordStack free_items_;
  std::atomic<uint32_t> items_in_use_{0};
  const char* name_;
};

// Constructs a T in an item of `pool` (whose items must hold a T); null when acquire failed.
template <class T, class... Args>
T* pool_new(ObjectPool& pool, Args&&... args) {
  void* item = pool.acquire();
  return item ? new (item) T(std::forward<Args>(args)...) : nullptr;
}

// Destroys `object` and releases its item into `pool`.
template <class T>
void pool_delete(ObjectPool& pool, T* object) {
  if (!object) return;
  object->~T();
  pool.release(object);
}

}  // namespace qk
