// Conversion between the core's UTF-8 text and the wide text of the host and the platform.
//
// Wide text is UTF-16 code units (char16_t on every platform, so that the host's 16-bit units keep
// their meaning where wchar_t is 32 bits). Bad input never fails: a malformed UTF-8 sequence becomes
// U+FFFD. Reentrant; safe from any thread.
#pragma once

#include <string>
#include <string_view>

#include "qk_memory.h"

namespace qk {

using wchar = char16_t;
using wstring = std::basic_string<wchar, std::char_traits<wchar>, qk::allocator<wchar>>;

}  // namespace qk

// A NUL-terminated wide text to UTF-8; a null or empty input gives an empty string.
std::string qk_to_utf8(const qk::wchar* text);
// UTF-8 to wide text. The conversion stops at the first NUL byte of `text`.
qk::wstring qk_to_wide(std::string_view text);
