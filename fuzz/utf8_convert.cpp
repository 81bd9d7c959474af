// The UTF-8 and UTF-16 converters over any bytes, with their length and round-trip properties:
//   - the whole-source conversion consumes the whole source, writes at most one unit per byte, and
//     qk_utf16_length counts exactly what it writes; with stop_at_incomplete only a cut sequence
//     of at most three bytes is left;
//   - the chunk walk hands over the same units as the whole conversion into a target filled with
//     U+FFFD (the walk's content for a byte that leads nothing), in chunks of at most 32;
//   - units to UTF-8 and back give the same units (each unit alone in one to three bytes), and
//     the bytes are at most three per unit;
//   - a target of any room takes a prefix of the units and says where to go on;
//   - UTF8_putc and UTF8_getc round-trip every code point below 0x10000, within `size`.
// A violation aborts.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "qk_utf8.h"

namespace {

[[noreturn]] void violation(const char* what) {
  std::fprintf(stderr, "converter property violated: %s\n", what);
  std::abort();
}

void expect(bool holds, const char* what) {
  if (!holds) violation(what);
}

std::vector<qk::wchar> toUnits(std::string_view source, size_t room, qk::wchar fill, qk::utf8_result& r,
                               bool stop = false) {
  std::vector<qk::wchar> units(room, fill);
  r = qk_utf8_to_utf16(units.data(), units.data() + room, source, stop);
  expect(r.written <= room, "wrote past the room");
  units.resize(size_t(r.written));
  return units;
}

void checkWholeConversion(std::string_view source) {
  qk::utf8_result whole;
  const std::vector<qk::wchar> units = toUnits(source, source.size(), 0xFFFD, whole);
  expect(whole.consumed == source.size(), "a whole conversion left bytes");
  expect(whole.replaced <= whole.written, "more replaced than written");
  const qk::utf8_result length = qk_utf16_length(source, false);
  expect(length.written == whole.written && length.consumed == whole.consumed, "length disagrees");

  qk::utf8_result stopped;
  toUnits(source, source.size(), 0, stopped, true);
  expect(stopped.consumed <= source.size() && source.size() - stopped.consumed <= 3, "stopped too early");

  // The chunk walk: the same units, 32 at most at a time.
  std::vector<qk::wchar> walked;
  uint64_t consumed = 0;
  qk_utf8_for_each_chunk(source, [&](qk::wchar* begin, qk::wchar* end, qk::utf8_result chunk) {
    expect(end - begin <= 32 && uint64_t(end - begin) == chunk.written, "a chunk of the wrong size");
    walked.insert(walked.end(), begin, end);
    consumed += chunk.consumed;
    return true;
  });
  expect(consumed == source.size() && walked == units, "the chunk walk differs from the whole");

  // Units to bytes and back.
  std::vector<char> bytes(units.size() * 3);
  const qk::utf8_result encoded = qk_utf16_to_utf8(bytes.data(), bytes.data() + bytes.size(),
                                                   qk::wstring_view(units.data(), units.size()));
  expect(encoded.consumed == units.size() && encoded.written <= 3 * units.size(), "encoding lengths");
  qk::utf8_result back;
  const std::vector<qk::wchar> again =
      toUnits(std::string_view(bytes.data(), size_t(encoded.written)), size_t(encoded.written), 0, back);
  expect(again == units, "units don't survive UTF-8 and back");

  // A target of every room up to the whole takes a prefix of the units.
  for (size_t room = 0; room < units.size(); room += 1 + room / 4) {
    qk::utf8_result part;
    const std::vector<qk::wchar> prefix = toUnits(source, room, 0xFFFD, part);
    expect(part.written == room, "a short target wasn't filled");
    expect(std::equal(prefix.begin(), prefix.end(), units.begin()), "a short target isn't a prefix");
    qk::utf8_result rest;
    const std::vector<qk::wchar> tail =
        toUnits(source.substr(size_t(part.consumed)), source.size(), 0xFFFD, rest);
    expect(std::equal(tail.begin(), tail.end(), units.begin() + ptrdiff_t(room)) &&
               room + tail.size() == units.size(),
           "going on where consumed says doesn't give the rest");
  }
}

void checkCodePoints(const uint8_t* data, size_t size) {
  for (size_t i = 0; i + 1 < size && i < 64; i += 2) {
    const unsigned point = unsigned(data[i]) | unsigned(data[i + 1]) << 8;
    char buffer[4];
    for (size_t room = 0; room <= 3; ++room) {
      char* cursor = buffer;
      const int n = UTF8_putc(&cursor, room, point);
      expect(n >= 0 && size_t(n) <= room && cursor == buffer + n, "putc wrote past its room");
      if (n == 0) continue;
      const char* in = buffer;
      expect(UTF8_getc(&in, size_t(n)) == point && in == buffer + n, "putc and getc don't round-trip");
    }
  }
  // Decoding any bytes stays inside `size`.
  const char* cursor = reinterpret_cast<const char*>(data);
  const char* const end = cursor + size;
  while (cursor < end) {
    const char* before = cursor;
    UTF8_getc(&cursor, size_t(end - cursor));
    expect(cursor > before && cursor <= end, "getc stepped wrong");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view source(reinterpret_cast<const char*>(data), size);
  checkWholeConversion(source);
  checkCodePoints(data, size);
  return 0;
}
