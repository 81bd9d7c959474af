// Utf8Form: what a text of the catalogue is as UTF-8, strictly read (no overlong forms, no
// surrogates, nothing above U+10FFFF), and the forms the tool prints it in.
//
// The host's wide conversion treats a text by these two facts: each byte that isn't part of
// well-formed UTF-8 becomes U+FFFD, and a character beyond the Basic Multilingual Plane makes the
// whole text convert to an empty one. Plain functions of their arguments; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct Utf8Form {
  bool wellFormed = true;   // well-formed UTF-8 throughout
  uint32_t beyondBmp = 0;   // the first character above U+FFFF, 0 when there is none
  size_t firstBadByte = 0;  // the offset of the first byte that isn't well-formed, when there is one
};

Utf8Form inspectUtf8(std::string_view text);

// The length of the longest well-formed start of `text`: up to its first bad byte.
size_t wellFormedPrefix(std::string_view text);

// The text with each byte that isn't part of well-formed UTF-8 replaced by U+FFFD.
std::string wellFormedUtf8(std::string_view text);

// The bytes in hexadecimal, two lower-case digits each, nothing between.
std::string hexBytes(std::string_view bytes);
