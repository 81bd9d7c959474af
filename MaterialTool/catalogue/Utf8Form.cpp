#include "Utf8Form.h"

namespace {

// The length of the well-formed sequence at `at` with its code point, or 0 when the byte there
// doesn't begin one.
size_t sequenceAt(std::string_view text, size_t at, uint32_t& code) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[at + i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) {
    code = lead;
    return 1;
  }
  size_t length;
  uint32_t min;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2, min = 0x80, code = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3, min = 0x800, code = lead & 0x0F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4, min = 0x10000, code = lead & 0x07;
  } else {
    return 0;
  }
  if (text.size() - at < length) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
    code = code << 6 | (byte(i) & 0x3F);
  }
  if (code < min || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
  return length;
}

}  // namespace

Utf8Form inspectUtf8(std::string_view text) {
  Utf8Form form;
  for (size_t at = 0; at < text.size();) {
    uint32_t code = 0;
    const size_t length = sequenceAt(text, at, code);
    if (length == 0) {
      if (form.wellFormed) form.firstBadByte = at;
      form.wellFormed = false;
      ++at;
      continue;
    }
    if (code > 0xFFFF && form.beyondBmp == 0) form.beyondBmp = code;
    at += length;
  }
  return form;
}

size_t wellFormedPrefix(std::string_view text) {
  size_t at = 0;
  uint32_t code = 0;
  while (at < text.size()) {
    const size_t length = sequenceAt(text, at, code);
    if (length == 0) break;
    at += length;
  }
  return at;
}

std::string wellFormedUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    uint32_t code = 0;
    const size_t length = sequenceAt(text, at, code);
    if (length == 0) {
      out += "\xEF\xBF\xBD";
      ++at;
    } else {
      out.append(text.substr(at, length));
      at += length;
    }
  }
  return out;
}

std::string hexBytes(std::string_view bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    out += digits[byte >> 4];
    out += digits[byte & 15];
  }
  return out;
}
