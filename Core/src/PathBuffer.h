// PathBuffer<Capacity>: a string with room in place, for path work on the stack and in tables
// that doesn't allocate in the common case.
//
// It holds, in this order: a pointer to its place, the place's capacity, a heap block (null at
// first) and its capacity, a pointer to the current data, the length; then the place itself,
// Capacity bytes and a terminator. The text always stays terminated by a zero byte. Past its
// capacity it grows to `needed * 1.8 + 1` bytes (computed in single-precision float; the heap
// block is one byte larger for the terminator): the first growth copies from the place into a
// block from qk_malloc, later ones use qk_realloc. Once on the heap the text stays there until
// the object is destroyed. Not copyable (it points into itself); one thread at a time.
#pragma once

#include <cstddef>
#include <string_view>

class PathBufferBase {
 public:
  PathBufferBase(const PathBufferBase&) = delete;
  PathBufferBase& operator=(const PathBufferBase&) = delete;

  const char* c_str() const noexcept { return data_; }
  const char* data() const noexcept { return data_; }
  char* data() noexcept { return data_; }
  size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  std::string_view view() const noexcept { return {data_, size_}; }
  // The bytes the current data can hold, the terminator not counted.
  size_t capacity() const noexcept { return heap_ ? heap_capacity_ : place_capacity_; }
  bool on_heap() const noexcept { return heap_ != nullptr; }

  // Makes room for `needed` bytes and a terminator, keeping the text. False only when memory ran
  // out and the out-of-memory report returned; the text is then unchanged.
  bool reserve(size_t needed);

  // Sets the length to `length` (cut to the capacity) and puts the terminator there.
  void set_size(size_t length) noexcept;
  void clear() noexcept { set_size(0); }
  // Replace or extend the text, growing as needed. False when memory ran out (nothing changed).
  bool assign(std::string_view text);
  bool append(std::string_view text);

 protected:
  constexpr PathBufferBase(char* place, size_t place_capacity) noexcept
      : place_(place), place_capacity_(place_capacity), data_(place) {}
  ~PathBufferBase();

 private:
  char* place_;
  size_t place_capacity_;
  char* heap_ = nullptr;
  size_t heap_capacity_ = 0;
  char* data_;
  size_t size_ = 0;
};

template <size_t Capacity>
class PathBuffer : public PathBufferBase {
 public:
  constexpr PathBuffer() noexcept : PathBufferBase(place_bytes_, Capacity), place_bytes_{} {}

 private:
  char place_bytes_[Capacity + 1];
};
