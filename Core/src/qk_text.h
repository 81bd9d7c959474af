// Conversion between the core's UTF-8 text and the wide text of the host and the platform.
//
// Wide text is UTF-16 units (char16_t on every platform, so that the host's 16-bit units keep
// their meaning where wchar_t is 32 bits). The code-point functions, the chunked converters,
// case folding, fixed strings and PathBuffer are declared in the headers included below.
// Reentrant; safe from any thread.
#pragma once

#include <string>
#include <string_view>

#include "qk_memory.h"
#include "qk_utf8.h"

namespace qk {

using wstring = std::basic_string<wchar, std::char_traits<wchar>, qk::allocator<wchar>>;

}  // namespace qk

// A NUL-terminated wide text to UTF-8 by the system's converter: well-formed text converts
// exactly (a surrogate pair to one four-byte sequence), a lone surrogate becomes U+FFFD. A null or
// empty input gives an empty string, and the result ends at its first zero.
std::string qk_to_utf8(const qk::wchar* text);

// UTF-8 to wide text by the system's converter, into room counted by qk_utf16_length plus one.
// `text` must be NUL-terminated whatever length the view has: the conversion reads to the NUL.
// Since the count gives a character beyond the Basic Multilingual Plane one unit and the system's
// converter writes a surrogate pair for it, such a text doesn't fit and converts to an empty
// string, as does a failed conversion.
qk::wstring qk_to_wide(std::string_view text);
