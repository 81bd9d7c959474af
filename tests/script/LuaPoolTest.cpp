// The script memory pool: size classes, pages and their growth, the sorted page array, pages
// given back when empty, moves across classes and to and from the backing allocator, failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <vector>

#include "LuaPool.h"
#include "qk_lua.h"

namespace {

// What Lua's objects need: the alignment of its own "maximum alignment" union.
union LuaMaxAlign {
  double number;
  void* pointer;
  long integer;
};
constexpr size_t kLuaAlignment = alignof(LuaMaxAlign);

// A backing allocator that records what it holds and can be told to refuse.
struct Backing {
  std::map<void*, size_t> live;  // block -> size asked for
  std::vector<size_t> pageRequests;
  size_t largeRequests = 0;
  bool refusePages = false;
  bool refuseGrowth = false;  // a larger page array
  bool refuseAll = false;

  static void* alloc(void* ud, void* ptr, size_t osize, size_t nsize) {
    auto& self = *static_cast<Backing*>(ud);
    if (nsize == 0) {
      EXPECT_EQ(self.live.erase(ptr), 1u) << "freed a block the backing doesn't hold";
      std::free(ptr);
      return nullptr;
    }
    const bool page = !ptr && osize == 1;
    const bool growth = ptr != nullptr;  // the pool reallocates nothing but its page array
    if (self.refuseAll || (page && self.refusePages) || (growth && self.refuseGrowth)) return nullptr;
    if (page) self.pageRequests.push_back(nsize);
    if (!ptr && osize == 0) self.largeRequests += 1;
    if (ptr) self.live.erase(ptr);
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
};

int popcount(const LuaPool::Page& page) {
  int bits = 0;
  for (unsigned w = 0; w < page.bitmapWords; ++w) bits += __builtin_popcount(page.bitmap()[w]);
  return bits;
}

// Every structural rule of the pool at once.
void expectConsistent(const LuaPool& pool) {
  for (size_t i = 0; i < pool.pageCount(); ++i) {
    const LuaPool::Page& page = *pool.page(i);
    if (i > 0) {
      EXPECT_LT(pool.page(i - 1), &page) << "pages out of address order";
    }
    EXPECT_LT(page.freeCount, page.slotCount) << "an empty page stayed";
    EXPECT_EQ(popcount(page), page.freeCount);
    EXPECT_EQ(page.slotCount % 32, 0);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(page.slots()) % kLuaAlignment, 0u);
    const int sizeClass = LuaPool::classOf(page.slotSize);
    bool listed = false;
    for (const LuaPool::Page* p = pool.classHead(sizeClass); p; p = p->next) listed |= p == &page;
    EXPECT_TRUE(listed) << "a page missing from its class list";
  }
  size_t listedPages = 0;
  for (int c = 0; c < LuaPool::kClasses; ++c) {
    const LuaPool::Page* previous = nullptr;
    for (const LuaPool::Page* p = pool.classHead(c); p; previous = p, p = p->next) {
      EXPECT_EQ(p->prev, previous);
      EXPECT_EQ(LuaPool::classOf(p->slotSize), c);
      ++listedPages;
    }
    if (const LuaPool::Page* current = pool.current(c)) {
      EXPECT_EQ(LuaPool::classOf(current->slotSize), c);
    }
  }
  EXPECT_EQ(listedPages, pool.pageCount());
}

// ---- Against a reference model ---------------------------------------------------------------

TEST_F(PoolTest, RandomSequencesKeepEveryByteOfEveryLiveBlock) {
  struct Block {
    unsigned char* data;
    size_t size;
    unsigned char seed;
  };
  std::vector<Block> blocks;
  std::mt19937 random(1234);
  auto fill = [](Block& b) {
    for (size_t i = 0; i < b.size; ++i) b.data[i] = static_cast<unsigned char>(b.seed + i * 7);
  };
  auto intact = [](const Block& b) {
    for (size_t i = 0; i < b.size; ++i)
      if (b.data[i] != static_cast<unsigned char>(b.seed + i * 7)) return false;
    return true;
  };
  // Sizes around the class edges and the pooling limit, some far beyond it.
  auto anySize = [&random]() -> size_t {
    switch (random() % 4) {
      case 0: return 1 + random() % 8;
      case 1: return 120 + random() % 16;
      case 2: return 1 + random() % 300;
      default: return 1 + random() % 128;
    }
  };

  for (int step = 0; step < 30000; ++step) {
    const unsigned action = random() % 10;
    if (blocks.empty() || action < 4) {
      Block b{nullptr, anySize(), static_cast<unsigned char>(random())};
      b.data = static_cast<unsigned char*>(take(b.size));
      ASSERT_NE(b.data, nullptr);
      ASSERT_EQ(reinterpret_cast<uintptr_t>(b.data) % kLuaAlignment, 0u) << "a block misaligned for Lua";
      fill(b);
      blocks.push_back(b);
    } else if (action < 7) {
      const size_t i = random() % blocks.size();
      Block& b = blocks[i];
      const size_t size = anySize();
      auto* moved = static_cast<unsigned char*>(pool->realloc(b.data, b.size, size));
      ASSERT_NE(moved, nullptr);
      for (size_t k = 0; k < std::min(size, b.size); ++k)
        ASSERT_EQ(moved[k], static_cast<unsigned char>(b.seed + k * 7)) << "byte " << k << " lost in a move";
      if (size != b.size) {
        EXPECT_NE(moved, b.data) << "a block whose size changes moves";
      }
      b.data = moved;
      b.size = size;
      fill(b);
    } else {
      const size_t i = random() % blocks.size();
      ASSERT_TRUE(intact(blocks[i]));
      give(blocks[i].data, blocks[i].size);
      blocks[i] = blocks.back();
      blocks.pop_back();
    }
    if (step % 100 == 0) {
      for (const Block& b : blocks) ASSERT_TRUE(intact(b)) << "a live block was overwritten";
      expectConsistent(*pool);
    }
  }
  for (const Block& b : blocks) give(b.data, b.size);
  EXPECT_EQ(pool->pageCount(), 0u) << "every page goes at its last free";
  EXPECT_EQ(backing.live.size(), 2u) << "only the pool and its page array stay";
}

// ---- Classes and pages -----------------------------------------------------------------------

TEST_F(PoolTest, PoolsUpTo128BytesAndPassesLargerRequestsAndTheirFreesThrough) {
  void* pooled = take(128);
  EXPECT_FALSE(fromBacking(pooled));
  void* large = take(129);
  EXPECT_TRUE(fromBacking(large));
  EXPECT_EQ(backing.largeRequests, 1u);
  give(large, 129);
  EXPECT_FALSE(fromBacking(large));
  give(pooled, 128);
}

TEST_F(PoolTest, ClassPagesDoubleFrom64To2048Slots) {
  std::vector<void*> blocks;
  std::vector<unsigned> slots;
  for (int page = 0; page < 7; ++page) {
    const LuaPool::Page* before = pool->classHead(LuaPool::classOf(16));
    do blocks.push_back(take(16));
    while (pool->classHead(LuaPool::classOf(16)) == before);
    slots.push_back(pool->classHead(LuaPool::classOf(16))->slotCount);
  }
  EXPECT_EQ(slots, (std::vector<unsigned>{64, 128, 256, 512, 1024, 2048, 2048}));
  expectConsistent(*pool);
  for (void* b : blocks) give(b, 16);
}

TEST_F(PoolTest, SlotSizeIsTheRequestRoundedUpToFourAndTheStrideToEight) {
  void* a = take(5);
  const LuaPool::Page& page = *pool->current(LuaPool::classOf(5));
  EXPECT_EQ(page.slotSize, 8);
  EXPECT_EQ(backing.pageRequests.back(), 8u * 64 + 28 + 2 * 4);
  void* b = take(10);  // class 9-12: slot size 12, laid out 16 apart
  const LuaPool::Page& odd = *pool->current(LuaPool::classOf(10));
  EXPECT_EQ(odd.slotSize, 12);
  EXPECT_EQ(odd.stride(), 16u);
  EXPECT_EQ(backing.pageRequests.back(), 16u * 64 + 28 + 2 * 4);
  void* c = take(12);
  EXPECT_EQ(static_cast<char*>(c) - static_cast<char*>(b), 16);
  give(a, 5);
  give(b, 10);
  give(c, 12);
}

TEST_F(PoolTest, TheLastFreeOfAPageGivesItBackAndTheNextPageIsSizedFromTheList) {
  std::vector<void*> first(64), second(128);
  for (void*& b : first) b = take(40);
  for (void*& b : second) b = take(40);
  ASSERT_EQ(pool->pageCount(), 2u);
  give(first[0], 40);
  for (void* b : second) give(b, 40);  // the 128-slot page empties: gone at once
  EXPECT_EQ(pool->pageCount(), 1u);
  EXPECT_EQ(pool->current(LuaPool::classOf(40)), nullptr);
  first[0] = take(40);
  EXPECT_EQ(pool->pageCount(), 1u) << "the free slot of the remaining page is found through the list";
  void* spill = take(40);
  EXPECT_EQ(pool->classHead(LuaPool::classOf(40))->slotCount, 128) << "twice the list's head";
  give(spill, 40);
  for (void* b : first) give(b, 40);
  EXPECT_EQ(pool->pageCount(), 0u);
  void* fresh = take(40);
  EXPECT_EQ(pool->classHead(LuaPool::classOf(40))->slotCount, 64) << "an empty class starts over at 64";
  give(fresh, 40);
}

TEST_F(PoolTest, ReallocMovesBetweenPagesAndTheBacking) {
  auto* block = static_cast<unsigned char*>(take(100));
  for (int i = 0; i < 100; ++i) block[i] = static_cast<unsigned char>(i);
  auto* large = static_cast<unsigned char*>(pool->realloc(block, 100, 200));
  EXPECT_TRUE(fromBacking(large));
  EXPECT_EQ(pool->pageCount(), 0u) << "the page of the only block went with it";
  auto* small = static_cast<unsigned char*>(pool->realloc(large, 200, 100));
  EXPECT_FALSE(fromBacking(small));
  EXPECT_FALSE(fromBacking(large));
  for (int i = 0; i < 100; ++i) ASSERT_EQ(small[i], i);
  EXPECT_EQ(pool->realloc(small, 100, 100), small) << "the same size stays in place";
  give(small, 100);
}

// ---- Failures --------------------------------------------------------------------------------

TEST_F(PoolTest, AFailedPageFallsBackToTheBackingAndTheNextRequestTriesAgain) {
  backing.refusePages = true;
  void* fallback = take(24);
  ASSERT_NE(fallback, nullptr);
  EXPECT_TRUE(fromBacking(fallback));
  EXPECT_EQ(pool->current(LuaPool::classOf(24)), nullptr);
  backing.refusePages = false;
  void* pooled = take(24);
  EXPECT_FALSE(fromBacking(pooled));
  give(fallback, 24);  // not in any page's slots: back to the backing
  EXPECT_FALSE(fromBacking(fallback));
  give(pooled, 24);
}

TEST_F(PoolTest, APageArrayThatCannotGrowGivesThePageBack) {
  backing.refuseGrowth = true;
  std::vector<void*> blocks;
  // The first array holds 16 pages: one page each for 16 classes, then a 17th class.
  for (size_t size = 4; size <= 64; size += 4) blocks.push_back(take(size));
  ASSERT_EQ(pool->pageCount(), 16u);
  void* seventeenth = take(68);
  EXPECT_TRUE(fromBacking(seventeenth));
  EXPECT_EQ(pool->pageCount(), 16u);
  expectConsistent(*pool);
  give(seventeenth, 68);
  for (size_t i = 0; i < blocks.size(); ++i) give(blocks[i], 4 * (i + 1));
}

TEST_F(PoolTest, ShrinkingNeverFailsAndGrowingFailsWithNull) {
  void* block = take(200);
  backing.refuseAll = true;
  EXPECT_EQ(pool->realloc(block, 200, 300), nullptr);
  EXPECT_EQ(pool->realloc(block, 200, 150), block) << "shrinking keeps the block when nothing is free";
  backing.refuseAll = false;
  give(block, 200);
}

TEST(LuaPool, CreateFailsWhenTheBackingGivesNothing) {
  Backing backing;
  backing.refuseAll = true;
  EXPECT_EQ(LuaPool::create(Backing::alloc, &backing), nullptr);
}

// ---- A real state on it ----------------------------------------------------------------------

TEST_F(PoolTest, ALuaStateRunsOnThePoolAndLeavesNoPageBehind) {
  lua_State* L = lua_newstate(LuaPool::lua_alloc, pool);
  luaL_openlibs(L);
  ASSERT_EQ(luaL_dostring(L, R"lua(
    local t = {}
    for i = 1, 20000 do t[i] = { i, tostring(i) .. "x", function() return i end } end
    local s = {}
    for i = 1, 2000 do s[#s + 1] = string.rep("ab", i % 70) end
    return #table.concat(s) + #t
  )lua"),
            0)
      << lua_tostring(L, -1);
  EXPECT_GT(pool->pageCount(), 10u);
  expectConsistent(*pool);
  lua_close(L);
  EXPECT_EQ(pool->pageCount(), 0u);
}

}  // namespace
