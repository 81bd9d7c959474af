// The tracked heap's counters and the object pools (the out-of-memory report is in
// OutOfMemoryTrapTest).
#include <cstdint>
#include <cstdlib>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/qk_platform.h"
#include "qk/ObjectPool.h"
#include "qk/TrackedHeap.h"
#include "qk_log.h"
#include "qk_memory.h"

// A request the allocator refuses must come back as null, also under the sanitizers.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char* __tsan_default_options() { return "allocator_may_return_null=1"; }

namespace {


// ---- Tracked heap ------------------------------------------------------------------------------

TEST(TrackedHeap, CountsAskedBytesInAndAllocatorBytesOut) {
  qk::TrackedHeap heap("test");
  void* block = heap.allocate(100);
  EXPECT_EQ(heap.allocations, 1);
  EXPECT_EQ(heap.bytes, 100);
  const int64_t usable = int64_t(qk_platform_block_size(block));
  ASSERT_GE(usable, 100);
  heap.release(block);
  EXPECT_EQ(heap.allocations, 0);
  EXPECT_EQ(heap.bytes, 100 - usable);
}

TEST(TrackedHeap, ReallocationKeepsTheBlockCount) {
  qk::TrackedHeap heap("test");
  void* block = heap.reallocate(nullptr, 40);  // a null pointer allocates, uncounted
  EXPECT_EQ(heap.allocations, 0);
  EXPECT_EQ(heap.bytes, 40);
  const int64_t usable = int64_t(qk_platform_block_size(block));
  block = heap.reallocate(block, 4000);
  EXPECT_EQ(heap.bytes, 40 - usable + 4000);
  std::free(block);
}

TEST(TrackedHeap, LuaAllocatorReleasesAllocatesAndResizes) {
  qk::TrackedHeap heap("lua");
  void* block = qk::qk_tracked_heap_lua_alloc(&heap, nullptr, 0, 64);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(heap.allocations, 1);
  block = qk::qk_tracked_heap_lua_alloc(&heap, block, 64, 128);
  EXPECT_EQ(heap.allocations, 1);
  EXPECT_EQ(qk::qk_tracked_heap_lua_alloc(&heap, block, 128, 0), nullptr);
  EXPECT_EQ(heap.allocations, 0);
  EXPECT_STREQ(qk::qk_core_heap().name, "QKCORESTATIC");
}

// ---- Object pools ------------------------------------------------------------------------------

TEST(ObjectPool, OneItemPastAChunkMakesASecondChunk) {
  qk::ObjectPool pool("tests/Item", 20, 16);
  EXPECT_EQ(pool.item_size(), 24u);  // rounded to the alignment
  std::set<uintptr_t> items;
  for (int i = 0; i < 17; ++i) {
    const auto item = reinterpret_cast<uintptr_t>(pool.acquire());
    EXPECT_EQ(item % 8, 0u);
    for (uintptr_t other : items) EXPECT_GE(item > other ? item - other : other - item, 24u);
    items.insert(item);
  }
  EXPECT_EQ(pool.chunks_made(), 2u);
  EXPECT_EQ(pool.items_in_use(), 17u);
  for (uintptr_t item : items) pool.release(reinterpret_cast<void*>(item));
  EXPECT_EQ(pool.items_in_use(), 0u);
}

TEST(ObjectPool, ReleasedItemsAreReusedBeforeANewChunk) {
  qk::ObjectPool pool("tests/Item", 8, 4);
  void* first = pool.acquire();
  pool.release(first);
  EXPECT_EQ(pool.acquire(), first);
  EXPECT_EQ(pool.chunks_made(), 1u);
}

TEST(ObjectPool, ReserveMakesChunksWithEveryItemFree) {
  qk::ObjectPool pool("tests/Item", 8, 4);
  pool.reserve(2);
  EXPECT_EQ(pool.chunks_made(), 2u);
  EXPECT_EQ(pool.items_in_use(), 0u);
  std::vector<void*> items;
  for (int i = 0; i < 8; ++i) items.push_back(pool.acquire());
  EXPECT_EQ(pool.chunks_made(), 2u);
  for (void* item : items) pool.release(item);
}

TEST(ObjectPool, ConstructsAndDestroysAroundTheItem) {
  struct Counted {
    explicit Counted(int& live) : live_(live) { ++live_; }
    ~Counted() { --live_; }
    int& live_;
  };
  int live = 0;
  qk::ObjectPool pool("tests/Counted", sizeof(Counted), 8);
  Counted* object = qk::pool_new<Counted>(pool, live);
  EXPECT_EQ(live, 1);
  qk::pool_delete(pool, object);
  EXPECT_EQ(live, 0);
  EXPECT_EQ(pool.items_in_use(), 0u);
}

TEST(ObjectPool, NeverHandsOneItemToTwoThreads) {
  qk::ObjectPool pool("tests/Owned", sizeof(std::atomic<int>), 32);
  constexpr int kRounds = 20000;
  std::atomic<int> collisions{0};
  auto work = [&](int id) {
    for (int r = 0; r < kRounds; ++r) {
      auto* owner = static_cast<std::atomic<int>*>(pool.acquire());
      owner->store(id);
      std::this_thread::yield();
      if (owner->load() != id) collisions += 1;
      pool.release(owner);
    }
  };
  std::thread a(work, 1), b(work, 2);
  a.join();
  b.join();
  EXPECT_EQ(collisions, 0);
  EXPECT_EQ(pool.items_in_use(), 0u);
}

}  // namespace
