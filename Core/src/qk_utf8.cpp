#include "qk_utf8.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "qk_memory.h"

namespace {

constexpr qk::wchar kReplacement = 0xFFFD;

bool is_continuation(unsigned c) { return (c & 0xC0) == 0x80; }

// The decoding of UTF8_getc and qk_utf8_next. `limited` says whether `size` bounds the read.
unsigned decode_code_point(const char** cursor, size_t size, bool limited) {
  if (limited && size == 0) return 0;
  const unsigned b = static_cast<unsigned char>(*(*cursor)++);
  if (b < 0x80) return b;
  if (is_continuation(b)) return 63;
  unsigned mask = 0x20, shift = 0, value = 0;
  size_t left = size - 1;
  for (;;) {
    if (limited && left == 0) return 0;
    const unsigned c = static_cast<unsigned char>(*(*cursor)++);
    if (!is_continuation(c)) return c != 0 ? 63 : 0;
    value = (c & 63) | (value << shift);
    shift += 6;
    if (!(b & mask)) break;
    mask >>= 1;
    --left;
    if (mask < 2) break;
  }
  return ((mask - 1) & b) << shift | value;
}

int encoded_size(unsigned code_point) {
  if (code_point < 0x80) return 1;
  if (code_point < 0x800) return 2;
  if (code_point < 0x10000) return 3;
  if (code_point < 0x200000) return 4;
  return 1;  // written as "?"
}

int encode_code_point(char** cursor, size_t size, bool limited, unsigned code_point) {
  const int n = encoded_size(code_point);
  if (limited && size < size_t(n)) return 0;
  char* out = *cursor;
  switch (code_point < 0x200000 ? n : 0) {
    case 0: out[0] = '?'; break;
    case 1: out[0] = char(code_point); break;
    case 2:
      out[0] = char(0xC0 | (code_point >> 6));
      out[1] = char(0x80 | (code_point & 0x3F));
      break;
    case 3:
      out[0] = char(0xE0 | (code_point >> 12));
      out[1] = char(0x80 | ((code_point >> 6) & 0x3F));
      out[2] = char(0x80 | (code_point & 0x3F));
      break;
    default:
      out[0] = char(0xF0 | (code_point >> 18));
      out[1] = char(0x80 | ((code_point >> 12) & 0x3F));
      out[2] = char(0x80 | ((code_point >> 6) & 0x3F));
      out[3] = char(0x80 | (code_point & 0x3F));
      break;
  }
  *cursor += n;
  return n;
}

}  // namespace

// ---- Code points -----------------------------------------------------------------------------

unsigned UTF8_getc(const char** cursor, size_t size) { return decode_code_point(cursor, size, true); }

int UTF8_putc(char** cursor, size_t size, unsigned code_point) {
  return encode_code_point(cursor, size, true, code_point);
}

unsigned qk_utf8_next(const char** cursor) { return decode_code_point(cursor, 0, false); }

int qk_utf8_put(char** cursor, unsigned code_point) {
  return encode_code_point(cursor, 0, false, code_point);
}

// ---- Chunked converters ----------------------------------------------------------------------

qk::utf8_result qk_utf8_to_utf16(qk::wchar* target_begin, qk::wchar* target_end,
                                 std::string_view source, bool stop_at_incomplete) {
  qk::utf8_result result;
  const auto* s = reinterpret_cast<const unsigned char*>(source.data());
  const auto* const end = s + source.size();
  qk::wchar* t = target_begin;
  while (t < target_end && s < end) {
    const unsigned lead = *s;
    size_t need = 1;
    if (lead >= 0xF8) {  // no such lead: the position moves on, the unit there stays as it was
      ++s, ++t;
      result.consumed += 1;
      result.written += 1;
      continue;
    }
    if (lead < 0x80) need = 1;
    else if (lead < 0xC0) need = 0;  // a stray continuation byte
    else if (lead < 0xE0) need = 2;
    else if (lead < 0xF0) need = 3;
    else need = 4;

    qk::wchar unit = kReplacement;
    size_t step = 1;
    if (need == 1) {
      unit = qk::wchar(lead);
    } else if (need > 1 && size_t(end - s) < need) {
      if (stop_at_incomplete) break;
    } else if (need > 1) {
      size_t valid = 1;
      while (valid < need && is_continuation(s[valid])) ++valid;
      step = valid;
      if (valid == need) {
        const unsigned c1 = s[1] & 63u;
        const unsigned c2 = need > 2 ? s[2] & 63u : 0;
        const unsigned c3 = need > 3 ? s[3] & 63u : 0;
        if (need == 2) unit = qk::wchar((lead & 31) << 6 | c1);
        else if (need == 3) unit = qk::wchar((lead << 12 | c1 << 6 | c2) & 0xFFFF);
        else unit = qk::wchar((c1 << 12 | c2 << 6 | c3) & 0xFFFF);  // the plane is lost
      }
    }
    if (unit == kReplacement) result.replaced += 1;
    *t++ = unit;
    s += step;
    result.consumed += step;
    result.written += 1;
  }
  return result;
}

qk::utf8_result qk_utf16_to_utf8(char* target_begin, char* target_end, qk::wstring_view source) {
  qk::utf8_result result;
  char* t = target_begin;
  for (const qk::wchar unit : source) {
    const unsigned u = unit;
    const int n = u < 0x80 ? 1 : u < 0x800 ? 2 : 3;
    if (target_end - t < n) break;
    encode_code_point(&t, 0, false, u);
    result.written += uint64_t(n);
    result.consumed += 1;
  }
  return result;
}

qk::utf8_result qk_utf16_length(std::string_view source, bool stop_at_incomplete) {
  qk::utf8_result total;
  qk::wchar scratch[32];
  while (!source.empty()) {
    const qk::utf8_result chunk = qk_utf8_to_utf16(scratch, scratch + 32, source, stop_at_incomplete);
    if (chunk.consumed == 0) break;
    total.written += chunk.written;
    total.consumed += chunk.consumed;
    total.replaced += chunk.replaced;
    source.remove_prefix(size_t(chunk.consumed));
  }
  return total;
}

bool qk_utf8_for_each_chunk(
    std::string_view source,
    std::function<bool(qk::wchar* begin, qk::wchar* end, qk::utf8_result chunk)> callback) {
  qk::wchar chunk[32];
  while (!source.empty()) {
    std::fill(std::begin(chunk), std::end(chunk), kReplacement);
    const qk::utf8_result result = qk_utf8_to_utf16(chunk, chunk + 32, source, false);
    if (!callback(chunk, chunk + result.written, result)) return false;
    source.remove_prefix(size_t(result.consumed));
  }
  return true;
}

// ---- The transform's source copy -------------------------------------------------------------

qk::detail::Utf8SourceCopy::Utf8SourceCopy(std::string_view source) {
  if (source.size() > sizeof local_) {
    heap_ = static_cast<char*>(qk_malloc(source.size()));
    if (!heap_) return;  // the out-of-memory report returned: nothing to read
    data_ = heap_;
  }
  std::memcpy(data_, source.data(), source.size());
  size_ = source.size();
}

qk::detail::Utf8SourceCopy::~Utf8SourceCopy() { std::free(heap_); }
