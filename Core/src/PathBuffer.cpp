#include "PathBuffer.h"

#include <cstdlib>
#include <cstring>

#include "qk_memory.h"

PathBufferBase::~PathBufferBase() {
  std::free(heap_);
  // Back to the place, so that a static buffer used after its destructor still works.
  heap_ = nullptr;
  heap_capacity_ = 0;
  data_ = place_;
  size_ = 0;
  place_[0] = 0;
}

bool PathBufferBase::reserve(size_t needed) {
  if (needed <= capacity()) return true;
  const size_t grown = size_t(float(needed) * 1.8f + 1.0f);
  char* block;
  if (!heap_) {
    block = static_cast<char*>(qk_malloc(grown + 1));
    if (!block) return false;
    std::memcpy(block, place_, size_ + 1);
  } else {
    block = static_cast<char*>(qk_realloc(heap_, grown + 1));
    if (!block) return false;
  }
  heap_ = block;
  heap_capacity_ = grown;
  data_ = block;
  return true;
}

void PathBufferBase::set_size(size_t length) noexcept {
  size_ = length < capacity() ? length : capacity();
  data_[size_] = 0;
}

bool PathBufferBase::assign(std::string_view text) {
  if (!reserve(text.size())) return false;
  std::memmove(data_, text.data(), text.size());
  set_size(text.size());
  return true;
}

bool PathBufferBase::append(std::string_view text) {
  if (!reserve(size_ + text.size())) return false;
  std::memmove(data_ + size_, text.data(), text.size());
  set_size(size_ + text.size());
  return true;
}
