// POSIX implementation of the system's UTF-8 and UTF-16 conversions.
//
// They keep the contract of the platform's own converters: exact for well-formed text, surrogate
// pairs for characters beyond the Basic Multilingual Plane, and one U+FFFD for each maximal
// ill-formed part of a sequence (a stray byte, a cut sequence, an overlong or surrogate form, a
// value beyond U+10FFFF) or for a lone surrogate unit.
#include <locale.h>
#include <wctype.h>

#include <cstring>

#include "platform/qk_platform.h"

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Counts units and stores them while there is room; `failed` once a unit found no room.
template <class Unit>
struct Sink {
  Unit* target;
  int capacity;
  int written = 0;
  bool failed = false;

  void put(Unit unit) {
    if (capacity != 0) {
      if (written >= capacity) {
        failed = true;
        return;
      }
      target[written] = unit;
    }
    ++written;
  }
};

// The range the second byte of a sequence must fall in, by its lead; false for a lead that
// can't begin a well-formed sequence.
bool second_byte_range(unsigned lead, unsigned& size, unsigned& low, unsigned& high) {
  low = 0x80;
  high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) size = 2;
  else if (lead >= 0xE0 && lead <= 0xEF) size = 3;
  else if (lead >= 0xF0 && lead <= 0xF4) size = 4;
  else return false;
  if (lead == 0xE0) low = 0xA0;
  if (lead == 0xED) high = 0x9F;
  if (lead == 0xF0) low = 0x90;
  if (lead == 0xF4) high = 0x8F;
  return true;
}

// Decodes one character at `s`, or U+FFFD for the maximal ill-formed part there; `taken` bytes.
char32_t decode(const unsigned char* s, const unsigned char* end, size_t& taken) {
  const unsigned lead = s[0];
  taken = 1;
  if (lead < 0x80) return lead;
  unsigned size, low, high;
  if (!second_byte_range(lead, size, low, high)) return kReplacement;
  char32_t value = lead & (0x7F >> size);
  for (unsigned i = 1; i < size; ++i) {
    if (s + i >= end || s[i] < low || s[i] > high) return kReplacement;
    value = (value << 6) | (s[i] & 0x3F);
    taken = i + 1;
    low = 0x80;
    high = 0xBF;
  }
  return value;
}

}  // namespace

int qk_platform_utf8_to_utf16(const char* source, int length, char16_t* target, int capacity) {
  if (!source || length == 0) return 0;
  const size_t size = length < 0 ? std::strlen(source) + 1 : size_t(length);
  const unsigned char* s = reinterpret_cast<const unsigned char*>(source);
  const unsigned char* const end = s + size;
  Sink<char16_t> sink{target, capacity};
  while (s < end && !sink.failed) {
    size_t taken;
    const char32_t c = decode(s, end, taken);
    s += taken;
    if (c >= 0x10000) {
      sink.put(char16_t(0xD800 + ((c - 0x10000) >> 10)));
      sink.put(char16_t(0xDC00 + (c & 0x3FF)));
    } else {
      sink.put(char16_t(c));
    }
  }
  return sink.failed ? 0 : sink.written;
}

int qk_platform_utf16_to_utf8(const char16_t* source, int length, char* target, int capacity) {
  if (!source || length == 0) return 0;
  size_t size = 0;
  if (length < 0) {
    while (source[size]) ++size;
    ++size;
  } else {
    size = size_t(length);
  }
  Sink<char> sink{target, capacity};
  for (size_t i = 0; i < size && !sink.failed; ++i) {
    char32_t c = source[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < size && source[i + 1] >= 0xDC00 &&
        source[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (source[++i] - 0xDC00);
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = kReplacement;
    }
    if (c < 0x80) {
      sink.put(char(c));
    } else if (c < 0x800) {
      sink.put(char(0xC0 | (c >> 6)));
      sink.put(char(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
      sink.put(char(0xE0 | (c >> 12)));
      sink.put(char(0x80 | ((c >> 6) & 0x3F)));
      sink.put(char(0x80 | (c & 0x3F)));
    } else {
      sink.put(char(0xF0 | (c >> 18)));
      sink.put(char(0x80 | ((c >> 12) & 0x3F)));
      sink.put(char(0x80 | ((c >> 6) & 0x3F)));
      sink.put(char(0x80 | (c & 0x3F)));
    }
  }
  return sink.failed ? 0 : sink.written;
}

void qk_platform_lower_units(uint16_t* units) {
  for (unsigned u = 0; u < 0x10000; ++u) units[u] = uint16_t(u);
  locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t(nullptr));
  if (!locale) locale = newlocale(LC_CTYPE_MASK, "C.utf8", locale_t(nullptr));
  if (!locale) locale = newlocale(LC_CTYPE_MASK, "C", locale_t(nullptr));
  if (!locale) return;
  for (unsigned u = 0; u < 0x10000; ++u) {
    const wint_t lower = towlower_l(wint_t(u), locale);
    if (lower <= 0xFFFF) units[u] = uint16_t(lower);
  }
  freelocale(locale);
}
