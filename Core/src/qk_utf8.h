// UTF-8 and UTF-16 units: code points, chunked converters and the chunked transform.
//
// The converters are the system's own and deliberately not fully conforming: the UTF-16 unit is
// the unit of work, a character beyond the Basic Multilingual Plane becomes one unit holding the
// low 16 bits of its value (no surrogate pairs), and malformed input becomes U+FFFD without
// stopping anything. Bad input never fails and never reads past the given range (UTF8_getc and
// the size-limited functions) or past a NUL (qk_utf8_next). All functions are reentrant.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#if defined(_WIN32)
#define QK_EXPORT __declspec(dllexport)
#else
#define QK_EXPORT __attribute__((visibility("default")))
#endif

namespace qk {

using wchar = char16_t;
using wstring_view = std::basic_string_view<wchar>;

// The result of every chunked conversion.
struct utf8_result {
  uint64_t written = 0;   // units or bytes stored in the target
  uint64_t consumed = 0;  // units or bytes taken from the source
  uint64_t replaced = 0;  // replacement characters stored
};

}  // namespace qk

// ---- Code points (exported) ------------------------------------------------------------------

extern "C" {
// Decodes one code point from at most `size` bytes at `*cursor` and steps the cursor. 0 for an
// empty range (cursor left), for a cut sequence and for a NUL continuation; 63 ("?") for a stray
// continuation byte or a broken sequence. Each continuation byte shifts the value by the running
// shift: two- and three-byte sequences decode right, a four-byte sequence doesn't (F0 9F 98 80
// gives 0x7D8000), and that arithmetic is kept as it is.
QK_EXPORT unsigned UTF8_getc(const char** cursor, size_t size);
// Encodes `code_point` at `*cursor` in at most `size` bytes and steps the cursor; the bytes
// written, 0 (nothing written) when the sequence doesn't fit. From 0x200000 on, a single "?".
QK_EXPORT int UTF8_putc(char** cursor, size_t size, unsigned code_point);
}

// UTF8_getc without a size: stops at a NUL, at most five continuation bytes.
unsigned qk_utf8_next(const char** cursor);
// UTF8_putc without a size.
int qk_utf8_put(char** cursor, unsigned code_point);

// ---- Chunked converters ----------------------------------------------------------------------

// UTF-8 to UTF-16 units until the target is full or the source is used up. A sequence cut by the
// source's end ends the conversion unconsumed with `stop_at_incomplete`, and becomes U+FFFD (one
// byte consumed) without. A broken sequence becomes U+FFFD and consumes only its valid bytes, so
// that the offending byte is read again as a lead. A lead of 0xF8 or more stores nothing and
// counts nothing as replaced, but the target position moves on over the unit it leaves as it was.
qk::utf8_result qk_utf8_to_utf16(qk::wchar* target_begin, qk::wchar* target_end,
                                 std::string_view source, bool stop_at_incomplete);
// UTF-16 units to UTF-8, each unit alone in one to three bytes (a surrogate too); stops before a
// unit whose bytes don't fit. `written` counts bytes, `consumed` units; nothing is replaced.
qk::utf8_result qk_utf16_to_utf8(char* target_begin, char* target_end, qk::wstring_view source);
// The units qk_utf8_to_utf16 would write for the whole source (in `written`), nothing stored.
qk::utf8_result qk_utf16_length(std::string_view source, bool stop_at_incomplete);

// Decodes the source in chunks of up to 32 units (never stopping at a cut sequence) and hands
// each to `callback` with the chunk's result; false from the callback ends the walk with false.
bool qk_utf8_for_each_chunk(
    std::string_view source,
    std::function<bool(qk::wchar* begin, qk::wchar* end, qk::utf8_result chunk)> callback);

namespace qk {

// Applies `fn` to every UTF-16 unit of `source` and writes the result as UTF-8 to the target,
// chunk by chunk, until the target is full. The target may be the source's own memory. No
// terminator is written. `written` counts the bytes stored; `consumed` adds each whole decoded
// chunk, also the last one when it was written only in part; `replaced` adds what the encoding
// steps replaced, which is none: U+FFFD units from the decoding are carried through uncounted.
template <class Fn>
utf8_result transform_utf8(char* target_begin, char* target_end, std::string_view source, Fn fn) {
  utf8_result total;
  char* out = target_begin;
  qk_utf8_for_each_chunk(source, [&](wchar* begin, wchar* end, utf8_result chunk) {
    if (out >= target_end) return false;
    for (wchar* unit = begin; unit != end; ++unit) *unit = wchar(fn(static_cast<unsigned short>(*unit)));
    const utf8_result step = qk_utf16_to_utf8(out, target_end, wstring_view(begin, size_t(end - begin)));
    out += step.written;
    total.written += step.written;
    total.replaced += step.replaced;
    total.consumed += chunk.consumed;
    return true;
  });
  return total;
}

}  // namespace qk
