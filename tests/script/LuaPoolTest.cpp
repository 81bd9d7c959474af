// The script memory pool against a reference model, and its page rules at their edges.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <random>
#include <vector>

#include "LuaPool.h"

namespace {

// What Lua's objects need: the alignment of its own "maximum alignment" union.
union LuaMaxAlign {
  double number;
  void* pointer;
  long integer;
};
constexpr size_t kLuaAlignment = alignof(LuaMaxAlign);

// A backing allocator that records what it holds and can be told to refuse pages or everything.
struct Backing {
  std::map<void*, size_t> live;
  std::vector<size_t> pageRequests;
  bool refusePages = false;
  bool refuseAll = false;

  static void* alloc(void* ud, void* ptr, size_t osize, size_t nsize) {
    auto& self = *static_cast<Backing*>(ud);
    if (nsize == 0) {
      EXPECT_EQ(self.live.erase(ptr), 1u) << "freed a block the backing doesn't hold";
      std::free(ptr);
      return nullptr;
    }
    const bool page = !ptr && osize == 1;
    if (self.refuseAll || (page && self.refusePages)) return nullptr;
    if (page) self.pageRequests.push_back(nsize);
    self.live.erase(ptr);
    void* block = std::realloc(ptr, nsize);
    self.live[block] = nsize;
    return block;
  }
};

struct PoolTest : testing::Test {
  Backing backing;
  LuaPool* pool = LuaPool::create(Backing::alloc, &backing);
  ~PoolTest() override {
    LuaPool::destroy(pool);
    EXPECT_TRUE(backing.live.empty()) << backing.live.size() << " blocks left with the backing";
  }
  void* take(size_t size) { return pool->realloc(nullptr, 0, size); }
  void give(void* block, size_t size) { pool->realloc(block, size, 0); }
  bool fromBacking(void* block) const { return backing.live.count(block) != 0; }
  const LuaPool::Page* head(size_t size) const { return pool->classHead(LuaPool::classOf(size)); }
};

// Pages sorted by address, none empty, free counts matching the bitmaps, each page in its list.
void expectConsistent(const LuaPool& pool) {
  size_t listed = 0;
  for (int c = 0; c < LuaPool::kClasses; ++c)
    for (const LuaPool::Page* p = pool.classHead(c); p; p = p->next, ++listed)
      EXPECT_EQ(LuaPool::classOf(p->slotSize), c);
  EXPECT_EQ(listed, pool.pageCount());
  for (size_t i = 0; i < pool.pageCount(); ++i) {
    const LuaPool::Page& page = *pool.page(i);
    EXPECT_TRUE(i == 0 || pool.page(i - 1) < &page) << "pages out of address order";
    EXPECT_LT(page.freeCount, page.slotCount) << "an empty page stayed";
    int bits = 0;
    for (unsigned w = 0; w < page.bitmapWords; ++w) bits += __builtin_popcount(page.bitmap()[w]);
    EXPECT_EQ(bits, page.freeCount);
  }
}

TEST_F(PoolTest, RandomSequencesKeepEveryByteOfEveryLiveBlock) {
  struct Block {
    unsigned char* data;
    size_t size;
    unsigned char seed;
    bool intact() const {
      for (size_t i = 0; i < size; ++i)
        if (data[i] != static_cast<unsigned char>(seed + i * 7)) return false;
      return true;
    }
    void fill() {
      for (size_t i = 0; i < size; ++i) data[i] = static_cast<unsigned char>(seed + i * 7);
    }
  };
  std::vector<Block> blocks;
  std::mt19937 random(1234);
  // Around the class edges and the pooling limit, some far beyond it.
  auto anySize = [&random]() -> size_t {
    const size_t ranges[][2] = {{1, 8}, {120, 136}, {1, 300}, {1, 128}};
    const auto& range = ranges[random() % 4];
    return range[0] + random() % (range[1] - range[0] + 1);
  };
  for (int step = 0; step < 30000; ++step) {
    const unsigned action = random() % 10;
    if (blocks.empty() || action < 4) {
      Block b{nullptr, anySize(), static_cast<unsigned char>(random())};
      b.data = static_cast<unsigned char*>(take(b.size));
      ASSERT_EQ(reinterpret_cast<uintptr_t>(b.data) % kLuaAlignment, 0u) << "a block misaligned for Lua";
      b.fill();
      blocks.push_back(b);
    } else if (action < 7) {  // a move, across classes, to or from the backing, or within a class
      Block& b = blocks[random() % blocks.size()];
      const size_t size = anySize();
      auto* moved = static_cast<unsigned char*>(pool->realloc(b.data, b.size, size));
      ASSERT_EQ(moved == b.data, size == b.size) << "a block moves exactly when its size changes";
      b.size = std::min(size, b.size);
      ASSERT_TRUE((Block{moved, b.size, b.seed}.intact())) << "bytes lost in a move";
      b = {moved, size, b.seed};
      b.fill();
    } else {
      const size_t i = random() % blocks.size();
      ASSERT_TRUE(blocks[i].intact());
      give(blocks[i].data, blocks[i].size);
      blocks[i] = blocks.back();
      blocks.pop_back();
    }
    if (step % 100 == 0) {
      for (const Block& b : blocks) ASSERT_TRUE(b.intact()) << "a live block was overwritten";
      expectConsistent(*pool);
    }
  }
  for (const Block& b : blocks) give(b.data, b.size);
  EXPECT_EQ(pool->pageCount(), 0u) << "every page goes at its last free";
  EXPECT_EQ(backing.live.size(), 2u) << "only the pool and its page array stay";
}

TEST_F(PoolTest, PagesDoubleFrom64To2048SlotsAndUpTo128BytesArePooled) {
  std::vector<void*> blocks;
  std::vector<unsigned> slots;
  while (slots.size() < 7) {
    const LuaPool::Page* before = head(16);
    blocks.push_back(take(16));
    if (head(16) != before) slots.push_back(head(16)->slotCount);
  }
  EXPECT_EQ(slots, (std::vector<unsigned>{64, 128, 256, 512, 1024, 2048, 2048}));
  for (void* b : blocks) give(b, 16);

  void* pooled = take(128);
  void* large = take(129);
  EXPECT_FALSE(fromBacking(pooled));
  EXPECT_TRUE(fromBacking(large));
  give(large, 129);
  EXPECT_FALSE(fromBacking(large)) << "the free of 129 bytes goes to the backing too";
  give(pooled, 128);
}

TEST_F(PoolTest, SlotSizesRoundToFourAndStridesToEight) {
  void* a = take(5);
  EXPECT_EQ(head(5)->slotSize, 8);
  EXPECT_EQ(backing.pageRequests.back(), 8u * 64 + 28 + 2 * 4);
  void* b = take(10);
  void* c = take(12);
  EXPECT_EQ(head(10)->slotSize, 12);
  EXPECT_EQ(static_cast<char*>(c) - static_cast<char*>(b), 16) << "12-byte slots lie 16 apart";
  EXPECT_EQ(backing.pageRequests.back(), 16u * 64 + 28 + 2 * 4);
  give(a, 5);
  give(b, 10);
  give(c, 12);
}

TEST_F(PoolTest, TheLastFreeOfAPageGivesItBackAndTheNextPageIsSizedFromTheList) {
  std::vector<void*> first(64), second(128);
  for (void*& b : first) b = take(40);
  for (void*& b : second) b = take(40);
  give(first[0], 40);
  for (void* b : second) give(b, 40);
  EXPECT_EQ(pool->pageCount(), 1u) << "the emptied page went at once";
  EXPECT_EQ(pool->current(LuaPool::classOf(40)), nullptr);
  first[0] = take(40);
  EXPECT_EQ(pool->pageCount(), 1u) << "the free slot of the remaining page is found through the list";
  void* spill = take(40);
  EXPECT_EQ(head(40)->slotCount, 128) << "twice the list's head";
  give(spill, 40);
  for (void* b : first) give(b, 40);
  void* fresh = take(40);
  EXPECT_EQ(head(40)->slotCount, 64) << "an empty class starts over at 64";
  give(fresh, 40);
}

TEST_F(PoolTest, ReallocMovesBetweenPagesAndTheBacking) {
  void* large = pool->realloc(take(100), 100, 200);
  EXPECT_TRUE(fromBacking(large));
  EXPECT_EQ(pool->pageCount(), 0u) << "the page of the only block went with it";
  void* small = pool->realloc(large, 200, 100);
  EXPECT_FALSE(fromBacking(small));
  EXPECT_FALSE(fromBacking(large));
  give(small, 100);
}

TEST_F(PoolTest, AFailedPageFallsBackToTheBackingAndTheNextRequestTriesAgain) {
  backing.refusePages = true;
  void* fallback = take(24);
  EXPECT_TRUE(fromBacking(fallback));
  EXPECT_EQ(pool->current(LuaPool::classOf(24)), nullptr);
  backing.refusePages = false;
  void* pooled = take(24);
  EXPECT_FALSE(fromBacking(pooled));
  give(fallback, 24);  // lies in no page: back to the backing
  EXPECT_FALSE(fromBacking(fallback));

  void* kept = take(200);
  backing.refuseAll = true;
  EXPECT_EQ(pool->realloc(kept, 200, 300), nullptr);
  EXPECT_EQ(pool->realloc(kept, 200, 150), kept) << "shrinking keeps the block when nothing is free";
  backing.refuseAll = false;
  give(kept, 200);
  give(pooled, 24);
}

}  // namespace
