#include "qk_text.h"

namespace {

constexpr char16_t kReplacement = 0xFFFD;

bool is_continuation(unsigned char c) { return (c & 0xC0) == 0x80; }

}  // namespace

std::string qk_to_utf8(const qk::wchar* text) {
  std::string out;
  if (!text) return out;
  for (; *text; ++text) {
    const unsigned u = *text;
    if (u < 0x80) {
      out.push_back(char(u));
    } else if (u < 0x800) {
      out.push_back(char(0xC0 | (u >> 6)));
      out.push_back(char(0x80 | (u & 0x3F)));
    } else {
      // Each unit stands alone, a surrogate too: the host's text is handled unit by unit.
      out.push_back(char(0xE0 | (u >> 12)));
      out.push_back(char(0x80 | ((u >> 6) & 0x3F)));
      out.push_back(char(0x80 | (u & 0x3F)));
    }
  }
  return out;
}

qk::wstring qk_to_wide(std::string_view text) {
  qk::wstring out;
  out.reserve(text.size());
  size_t i = 0;
  while (i < text.size() && text[i] != 0) {
    const unsigned char lead = static_cast<unsigned char>(text[i]);
    size_t length = lead < 0x80 ? 1 : lead < 0xC0 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3
                                                                       : lead < 0xF8 ? 4 : 0;
    if (length == 0) {  // a stray continuation byte, or a lead that UTF-8 doesn't have
      out.push_back(kReplacement);
      ++i;
      continue;
    }
    unsigned code = length == 1 ? lead : lead & (0x3F >> (length - 1));
    size_t taken = 1;
    while (taken < length && i + taken < text.size() &&
           is_continuation(static_cast<unsigned char>(text[i + taken]))) {
      code = (code << 6) | (static_cast<unsigned char>(text[i + taken]) & 0x3F);
      ++taken;
    }
    i += taken;
    // Incomplete sequences and characters beyond the Basic Multilingual Plane become U+FFFD.
    out.push_back(taken < length || code > 0xFFFF ? kReplacement : char16_t(code));
  }
  return out;
}
