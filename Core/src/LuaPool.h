// LuaPool: the small-block pool behind one Lua state.
//
// Lua 5.1 allocates many small objects of a few sizes (strings, closures, upvalues, table nodes).
// Every request of up to 128 bytes is served from pages of equal-sized slots; larger requests go
// straight to the backing allocator, a lua_Alloc given at creation (realloc and free when none
// is given). Requests fall into 32 size classes of 4-byte steps, class = (size - 1) / 4, from 1-4
// up to 125-128 bytes.
//
// A page is one block of the backing allocator: a 24-byte header (free count, slot count, slot
// size, bitmap words, the links of its class list), a bitmap with one bit per slot (set = free),
// then the slots. A class's first page has 64 slots, each further one twice the slots of the
// class list's head, at most 2048. A page goes back to the backing allocator at the free of its
// last used slot, so an empty page never stays. All pages sit in one array sorted by address, so
// that a free finds its page by binary search without a header in front of each block: the caller
// must pass a block's size with it, as lua_Alloc does.
//
// Alignment. `slotSize` is the request rounded up to 4 bytes, as the class says, but slots are
// laid out at a stride of `slotSize` rounded up to 8 and the slot area starts on an 8-byte
// boundary, so every block is aligned like the heap's blocks are for Lua's objects (their
// pointers, doubles and lua_Number fields need 8). A 4-byte alignment would be misaligned access
// in C++ (the undefined-behaviour sanitizer stops on it, and the compiler may assume alignment
// when it vectorises), whatever x86-64 itself tolerates. The page's size request keeps its form,
// stride * slotCount + 28 + bitmapWords * 4: for classes whose slot size is a multiple of 8 that
// is exactly slotSize * slotCount + 28 + bitmapWords * 4, and for the others each slot costs 4
// bytes more. The 4 bytes beyond the 24-byte header and the bitmap cover the padding to the slot
// area.
//
// Failure: a page that can't be made (the backing allocator gave nothing for the page or for a
// larger page array) sends the request to the backing allocator; only when that fails too does
// the caller get null. Shrinking a block never fails.
//
// A pool belongs to one Lua state and has no lock: one thread at a time. It is made by create and
// given back by destroy, which frees the page array and the pool but no page: by then every block
// has been freed (lua_close has run), and every page has gone at its last free.
#pragma once

#include <cstddef>
#include <cstdint>

class LuaPool {
 public:
  // The backing allocator, with the contract of lua_Alloc.
  using Alloc = void* (*)(void* ud, void* ptr, size_t osize, size_t nsize);

  static constexpr int kClasses = 32;
  static constexpr size_t kLargest = 128;  // the largest pooled request
  static constexpr unsigned kFirstSlots = 64;
  static constexpr unsigned kMostSlots = 2048;
  static constexpr size_t kSlotAlignment = 8;

  struct Page {
    uint16_t freeCount;
    uint16_t slotCount;    // a multiple of 32
    uint16_t slotSize;     // the class's request size rounded up to 4
    uint16_t bitmapWords;  // 32-bit words of the bitmap that follows the header
    Page* prev;
    Page* next;

    uint32_t* bitmap() { return reinterpret_cast<uint32_t*>(this + 1); }
    const uint32_t* bitmap() const { return reinterpret_cast<const uint32_t*>(this + 1); }
    // Distance between two slots: slotSize rounded up to kSlotAlignment.
    size_t stride() const { return (size_t(slotSize) + kSlotAlignment - 1) & ~(kSlotAlignment - 1); }
    // The slot area: behind the bitmap, on the next kSlotAlignment boundary.
    unsigned char* slots() {
      const size_t offset =
          (sizeof(Page) + size_t(bitmapWords) * 4 + kSlotAlignment - 1) & ~(kSlotAlignment - 1);
      return reinterpret_cast<unsigned char*>(this) + offset;
    }
    const unsigned char* slots() const { return const_cast<Page*>(this)->slots(); }
    // The bytes the page was asked for: stride * slotCount + 28 + bitmapWords * 4.
    size_t bytes() const { return stride() * slotCount + 28 + size_t(bitmapWords) * 4; }
    bool holds(const void* block) const {
      const auto* p = static_cast<const unsigned char*>(block);
      const unsigned char* first = slots();
      return p >= first && p < first + stride() * slotCount;
    }
  };
  static_assert(sizeof(Page) == 24, "the page header is 24 bytes");

  // A pool over `alloc` with its user data `ud`; a null `alloc` means realloc and free. Null when
  // the backing allocator gives nothing for the pool itself.
  static LuaPool* create(Alloc alloc, void* ud);
  // Gives back the page array and the pool (not the pages).
  static void destroy(LuaPool* pool);

  // As lua_Alloc: `nsize` 0 frees `ptr` (of `osize` bytes) and answers null; a null `ptr`
  // allocates; anything else moves the block to one of `nsize` bytes, even within one class.
  void* realloc(void* ptr, size_t osize, size_t nsize);

  // A lua_Alloc whose user data is the pool.
  static void* lua_alloc(void* pool, void* ptr, size_t osize, size_t nsize) {
    return static_cast<LuaPool*>(pool)->realloc(ptr, osize, nsize);
  }

  static int classOf(size_t size) { return int((size - 1) / 4); }

  // Inspection, for tests and diagnostics.
  size_t pageCount() const { return size_t(pageCount_); }
  const Page* page(size_t index) const { return pages_[index]; }
  const Page* current(int sizeClass) const { return current_[sizeClass]; }
  const Page* classHead(int sizeClass) const { return classPages_[sizeClass]; }

 private:
  LuaPool() = default;

  void* allocate(size_t size);
  void release(void* ptr, size_t size);
  // A page with a free slot for `sizeClass`: from the class list, else a new one. Null when a new
  // page can't be made; current_[sizeClass] is then null.
  Page* pageWithRoom(int sizeClass, size_t size);
  void setCurrent(int sizeClass, Page* page);
  Page* makePage(unsigned slots, size_t size);
  bool insertPage(Page* page);
  void removePage(size_t index, Page* page);
  // The index of the page that may hold `block`: the last whose address is below it, else 0.
  size_t findPage(const void* block) const;

  Page* current_[kClasses];
  Page* classPages_[kClasses];
  Page** pages_;
  int64_t pageCount_;
  int64_t pageCapacity_;
  Alloc alloc_;
  void* ud_;
  // For each class, the first bitmap word of current_[sizeClass] that may have a free slot: every
  // word in front of it is known to be full, so the search for the first free slot starts there
  // and finds the same slot without reading them again. Reset when current_ changes, lowered by a
  // free into the current page.
  uint16_t firstWord_[kClasses];
};
