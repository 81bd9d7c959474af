// FixedString<N> and WideFixedString<N>: strings of a fixed capacity that never touch the heap.
//
// A length (8 bits up to N = 255, 16 bits beyond) and N + 1 units, always terminated by a zero
// unit. Texts that don't fit are cut at N. Construction zeroes the buffer, so that a static fixed
// string is ready before any initialiser runs. Not synchronised: one thread at a time.
//
// Sizes in use: 20 (small numbers in the Lua host), 64 (module and thread of a log record), 128
// (short texts of the log and of system-error messages), 256 (file and log names), 65535 (a
// formatted log line). WideFixedString<260> holds paths for the platform's wide calls.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "qk_format.h"
#include "qk_utf8.h"

template <size_t N>
class FixedString {
  static_assert(N >= 1 && N <= 65535, "a fixed string holds 1 to 65535 bytes");

 public:
  using length_type = std::conditional_t<(N <= 255), uint8_t, uint16_t>;
  static constexpr size_t capacity = N;

  constexpr FixedString() noexcept : length_(0), data_{} {}

  const char* c_str() const noexcept { return data_; }
  const char* data() const noexcept { return data_; }
  char* data() noexcept { return data_; }
  size_t size() const noexcept { return length_; }
  bool empty() const noexcept { return length_ == 0; }
  size_t room() const noexcept { return N - length_; }
  std::string_view view() const noexcept { return {data_, length_}; }

  void clear() noexcept {
    length_ = 0;
    data_[0] = 0;
  }

  // Replaces the text by the formatted one, cut at N. Answers the length now held.
  size_t format(const char* fmt, ...) QK_PRINTF_FORMAT(2, 3) {
    va_list args;
    va_start(args, fmt);
    vformat(fmt, args);
    va_end(args);
    return length_;
  }

  size_t vformat(const char* fmt, va_list args) {
    clear();
    const int n = qk_vsnprintf(data_, N + 1, fmt, args);
    if (n >= 0 && size_t(n) <= N) {
      length_ = length_type(n);
    } else {
      length_ = length_type(N);
      data_[N] = 0;
    }
    return length_;
  }

  // Appends the formatted text into the room left. Answers the bytes appended; for a text that
  // doesn't fit, the room there was, with the string then full.
  size_t append_format(const char* fmt, ...) QK_PRINTF_FORMAT(2, 3) {
    va_list args;
    va_start(args, fmt);
    const size_t n = vappend_format(fmt, args);
    va_end(args);
    return n;
  }

  size_t vappend_format(const char* fmt, va_list args) {
    const size_t left = room();
    const int n = qk_vsnprintf(data_ + length_, left + 1, fmt, args);
    if (n >= 0 && size_t(n) <= left) {
      length_ = length_type(length_ + n);
      return size_t(n);
    }
    length_ = length_type(N);
    data_[N] = 0;
    return left;
  }

  // Appends at most the room left of `count` bytes. Answers the bytes appended.
  size_t append(const char* bytes, size_t count) noexcept {
    const size_t n = count < room() ? count : room();
    std::memcpy(data_ + length_, bytes, n);
    length_ = length_type(length_ + n);
    data_[length_] = 0;
    return n;
  }
  size_t append(std::string_view text) noexcept { return append(text.data(), text.size()); }

  FixedString& assign(std::string_view text) noexcept {
    clear();
    append(text);
    return *this;
  }

  // Sets the length after bytes were written in place at data() + size(), at most room() of them.
  void set_length(size_t length) noexcept {
    length_ = length_type(length < N ? length : N);
    data_[length_] = 0;
  }

  // Shortens the text to `length` bytes (a longer length changes nothing).
  void truncate(size_t length) noexcept {
    if (length >= length_) return;
    length_ = length_type(length);
    data_[length] = 0;
  }

  // Replaces the last byte; the string must not be empty.
  void set_back(char c) noexcept { data_[length_ - 1] = c; }
  char back() const noexcept { return length_ ? data_[length_ - 1] : 0; }

 private:
  length_type length_;
  char data_[N + 1];
};

template <size_t N>
class WideFixedString {
  static_assert(N >= 1 && N <= 65535, "a wide fixed string holds 1 to 65535 units");

 public:
  static constexpr size_t capacity = N;

  constexpr WideFixedString() noexcept : length_(0), data_{} {}

  const qk::wchar* c_str() const noexcept { return data_; }
  qk::wchar* data() noexcept { return data_; }
  size_t size() const noexcept { return length_; }
  qk::wstring_view view() const noexcept { return {data_, length_}; }

  void clear() noexcept {
    length_ = 0;
    data_[0] = 0;
  }

  // Appends at most the room left of `count` units.
  size_t append(const qk::wchar* units, size_t count) noexcept {
    const size_t n = count < N - length_ ? count : N - length_;
    std::memcpy(data_ + length_, units, n * sizeof(qk::wchar));
    length_ = uint16_t(length_ + n);
    data_[length_] = 0;
    return n;
  }

  // Replaces the text by `utf8` converted to units by the system's converter; a text longer than
  // N units is silently cut there. A sequence cut by the source's end becomes U+FFFD.
  WideFixedString& assign_utf8(std::string_view utf8) noexcept {
    const qk::utf8_result r = qk_utf8_to_utf16(data_, data_ + N, utf8, false);
    length_ = uint16_t(r.written);
    data_[length_] = 0;
    return *this;
  }

 private:
  uint16_t length_;
  qk::wchar data_[N + 1];
};
