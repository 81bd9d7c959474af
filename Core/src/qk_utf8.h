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
// The chunk buffer is filled with U+FFFD before each chunk is decoded, so the unit that a lead
// byte of 0xF8 or more passes over reads as U+FFFD (uncounted in `replaced`, since the decoder
// stored nothing there) and never as what the stack held before.
bool qk_utf8_for_each_chunk(
    std::string_view source,
    std::function<bool(qk::wchar* begin, qk::wchar* end, qk::utf8_result chunk)> callback);

namespace qk {

namespace detail {

// A private copy of a transform's source, for a target that overlaps it: 256 bytes in place, a
// longer source on the heap (qk_malloc; out of memory ends in its report, and should that return,
// the copy is empty).
class Utf8SourceCopy {
 public:
  explicit Utf8SourceCopy(std::string_view source);
  ~Utf8SourceCopy();
  Utf8SourceCopy(const Utf8SourceCopy&) = delete;
  Utf8SourceCopy& operator=(const Utf8SourceCopy&) = delete;
  std::string_view view() const { return {data_, size_}; }

 private:
  char local_[256];
  char* heap_ = nullptr;
  char* data_ = local_;
  size_t size_ = 0;
};

inline bool ranges_overlap(const char* begin, const char* end, std::string_view source) {
  const auto b = reinterpret_cast<uintptr_t>(begin), e = reinterpret_cast<uintptr_t>(end);
  const auto sb = reinterpret_cast<uintptr_t>(source.data());
  return b < e && !source.empty() && b < sb + source.size() && sb < e;
}

}  // namespace detail

// Applies `fn` to every UTF-16 unit of `source` and writes the result as UTF-8 to the target,
// chunk by chunk. The walk ends when the source is used up or at the first character whose bytes
// don't fit the room left; nothing behind that character is written. No terminator is written.
//
// The target may be the source's own memory (the fold of a path in its buffer is the common use)
// or overlap it in any way: the source is then read from a private copy, so that output that
// grows (U+023A folds from two bytes to three; a malformed byte becomes the three bytes of U+FFFD)
// never overwrites text not yet read, and the result is the same as into a separate target.
//
// `written` counts the bytes stored; `consumed` adds each decoded chunk whole, also the last one
// when it was written only in part; `replaced` adds what the encoding steps replaced, which is
// none: U+FFFD units from the decoding are carried through uncounted.
template <class Fn>
utf8_result transform_utf8(char* target_begin, char* target_end, std::string_view source, Fn fn) {
  if (detail::ranges_overlap(target_begin, target_end, source)) {
    const detail::Utf8SourceCopy copy(source);
    return transform_utf8(target_begin, target_end, copy.view(), fn);
  }
  utf8_result total;
  char* out = target_begin;
  qk_utf8_for_each_chunk(source, [&](wchar* begin, wchar* end, utf8_result chunk) {
    if (out >= target_end) return false;
    for (wchar* unit = begin; unit != end; ++unit) *unit = wchar(fn(static_cast<unsigned short>(*unit)));
    const size_t units = size_t(end - begin);
    const utf8_result step = qk_utf16_to_utf8(out, target_end, wstring_view(begin, units));
    out += step.written;
    total.written += step.written;
    total.replaced += step.replaced;
    total.consumed += chunk.consumed;
    return step.consumed == units;  // a character that didn't fit ends the walk
  });
  return total;
}

}  // namespace qk
