#include "LuaPool.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>

namespace {

// The backing allocator when none is given: nsize 0 frees, anything else is realloc.
void* plain_backing(void*, void* ptr, size_t, size_t nsize) {
  if (nsize == 0) {
    std::free(ptr);
    return nullptr;
  }
  return std::realloc(ptr, nsize);
}

// The `osize` passed with a null pointer carries no size, only what is asked for: 2 for the pool
// and the first page array, 1 for a page.
constexpr size_t kPoolRequest = 2;
constexpr size_t kPageRequest = 1;

}  // namespace

// ---- Pages -----------------------------------------------------------------------------------

LuaPool::Page* LuaPool::makePage(unsigned slots, size_t size) {
  const uint16_t slotSize = uint16_t((size + 3) & ~size_t(3));
  const uint16_t slotCount = uint16_t((slots + 31) & ~31u);
  const uint16_t bitmapWords = uint16_t((slots + 31) / 32);
  const size_t stride = (size_t(slotSize) + kSlotAlignment - 1) & ~(kSlotAlignment - 1);
  void* block = alloc_(ud_, nullptr, kPageRequest, stride * slotCount + 28 + size_t(bitmapWords) * 4);
  if (!block) return nullptr;

  Page* page = new (block) Page{slotCount, slotCount, slotSize, bitmapWords, nullptr, nullptr};
  std::memset(page->bitmap(), 0xFF, size_t(bitmapWords) * 4);
  if (!insertPage(page)) {
    alloc_(ud_, page, page->bytes(), 0);
    return nullptr;
  }
  Page*& head = classPages_[classOf(slotSize)];
  page->next = head;
  if (head) head->prev = page;
  head = page;
  return page;
}

bool LuaPool::insertPage(Page* page) {
  if (pageCount_ == pageCapacity_) {
    const int64_t capacity = pageCapacity_ + pageCapacity_ / 2 + 16;
    const size_t oldBytes = pages_ ? size_t(pageCapacity_) * sizeof(Page*) : kPoolRequest;
    void* grown = alloc_(ud_, pages_, oldBytes, size_t(capacity) * sizeof(Page*));
    if (!grown) return false;
    pages_ = static_cast<Page**>(grown);
    pageCapacity_ = capacity;
  }
  Page** end = pages_ + pageCount_;
  Page** place = std::lower_bound(pages_, end, page, std::less<Page*>());
  std::memmove(place + 1, place, size_t(end - place) * sizeof(Page*));
  *place = page;
  pageCount_ += 1;
  return true;
}

void LuaPool::removePage(size_t index, Page* page) {
  std::memmove(pages_ + index, pages_ + index + 1, size_t(pageCount_ - int64_t(index) - 1) * sizeof(Page*));
  pageCount_ -= 1;
  const int sizeClass = classOf(page->slotSize);
  if (classPages_[sizeClass] == page) classPages_[sizeClass] = page->next;
  if (current_[sizeClass] == page) current_[sizeClass] = nullptr;
  if (page->prev) page->prev->next = page->next;
  if (page->next) page->next->prev = page->prev;
  alloc_(ud_, page, page->bytes(), 0);
}

size_t LuaPool::findPage(const void* block) const {
  // The first page whose address is not below the block, and the one before it.
  Page* const* first = pages_;
  Page* const* notBelow =
      std::lower_bound(first, first + pageCount_, block,
                       [](const Page* page, const void* p) { return std::less<const void*>()(page, p); });
  return notBelow == first ? 0 : size_t(notBelow - first) - 1;
}

// ---- Allocation ------------------------------------------------------------------------------

LuaPool::Page* LuaPool::pageWithRoom(int sizeClass, size_t size) {
  for (Page* page = classPages_[sizeClass]; page; page = page->next) {
    if (page->freeCount != 0) {
      setCurrent(sizeClass, page);
      return page;
    }
  }
  const Page* head = classPages_[sizeClass];
  const unsigned slots = head ? std::min(2u * head->slotCount, kMostSlots) : kFirstSlots;
  Page* page = makePage(slots, size);
  setCurrent(sizeClass, page);
  return page;
}

void LuaPool::setCurrent(int sizeClass, Page* page) {
  current_[sizeClass] = page;
  firstWord_[sizeClass] = 0;
}

void* LuaPool::allocate(size_t size) {
  if (size > kLargest) return alloc_(ud_, nullptr, 0, size);
  const int sizeClass = classOf(size);
  Page* page = current_[sizeClass];
  if (!page || page->freeCount == 0) {
    page = pageWithRoom(sizeClass, size);
    if (!page) return alloc_(ud_, nullptr, 0, size);
  }
  // The first non-zero word of the bitmap, its lowest set bit.
  uint32_t* bitmap = page->bitmap();
  unsigned index = firstWord_[sizeClass];
  while (bitmap[index] == 0) ++index;
  firstWord_[sizeClass] = uint16_t(index);
  uint32_t& word = bitmap[index];
  const unsigned bit = unsigned(__builtin_ctz(word));
  word &= word - 1;
  page->freeCount -= 1;
  return page->slots() + (size_t(index) * 32 + bit) * page->stride();
}

void LuaPool::release(void* ptr, size_t size) {
  if (size > kLargest || pageCount_ == 0) {
    alloc_(ud_, ptr, size, 0);
    return;
  }
  const size_t index = findPage(ptr);
  Page* page = pages_[index];
  if (!page->holds(ptr)) {  // a block that a failed page sent to the backing allocator
    alloc_(ud_, ptr, size, 0);
    return;
  }
  if (page->freeCount + 1 != page->slotCount) {
    // Offsets in a page are far below 4 GiB: a 32-bit division is enough.
    const uint32_t slot =
        uint32_t(static_cast<unsigned char*>(ptr) - page->slots()) / uint32_t(page->stride());
    page->bitmap()[slot / 32] |= 1u << (slot % 32);
    page->freeCount += 1;
    const int sizeClass = classOf(page->slotSize);
    if (current_[sizeClass] == page && slot / 32 < firstWord_[sizeClass])
      firstWord_[sizeClass] = uint16_t(slot / 32);
    return;
  }
  removePage(index, page);
}

void* LuaPool::realloc(void* ptr, size_t osize, size_t nsize) {
  if (ptr && nsize == 0) {
    release(ptr, osize);
    return nullptr;
  }
  if (!ptr) return nsize ? allocate(nsize) : nullptr;
  if (nsize == osize) return ptr;
  void* block = allocate(nsize);
  if (!block) return nsize < osize ? ptr : nullptr;  // shrinking never fails
  std::memcpy(block, ptr, std::min(osize, nsize));
  release(ptr, osize);
  return block;
}

// ---- Life ------------------------------------------------------------------------------------

LuaPool* LuaPool::create(Alloc alloc, void* ud) {
  if (!alloc) alloc = plain_backing;
  void* block = alloc(ud, nullptr, kPoolRequest, sizeof(LuaPool));
  if (!block) return nullptr;
  std::memset(block, 0, sizeof(LuaPool));
  LuaPool* pool = new (block) LuaPool();
  pool->alloc_ = alloc;
  pool->ud_ = ud;
  return pool;
}

void LuaPool::destroy(LuaPool* pool) {
  if (!pool) return;
  const Alloc alloc = pool->alloc_;
  void* ud = pool->ud_;
  if (pool->pages_) alloc(ud, pool->pages_, size_t(pool->pageCapacity_) * sizeof(Page*), 0);
  pool->~LuaPool();
  alloc(ud, pool, sizeof(LuaPool), 0);
}
