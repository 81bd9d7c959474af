// qk::transform_utf8 with case folding over any bytes, and the folding table itself:
//   - with room for everything, the output is the folded units of the whole conversion (a byte
//     that leads nothing as U+FFFD), each encoded alone; it consumes the whole source;
//   - into a target of any room, the output is the longest prefix of that output made of whole
//     characters: the walk ends at the first character that doesn't fit;
//   - in place (the output over the source's own bytes, as a path is folded in its buffer) the
//     result is the same as into a separate target;
//   - folding is idempotent, and the output folds to itself.
// The first byte of the input chooses the room; the rest is the text. A violation aborts.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "qk_case_fold.h"
#include "qk_utf8.h"

namespace {

[[noreturn]] void violation(const char* what) {
  std::fprintf(stderr, "transform property violated: %s\n", what);
  std::abort();
}

void expect(bool holds, const char* what) {
  if (!holds) violation(what);
}

size_t encodedSize(qk::wchar unit) { return unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3; }

// The folded characters of the whole source, and the end of each in the bytes.
struct Expected {
  std::string bytes;
  std::vector<size_t> ends;
};

Expected expectedFold(std::string_view source) {
  std::vector<qk::wchar> units(source.size(), 0xFFFD);
  const qk::utf8_result r = qk_utf8_to_utf16(units.data(), units.data() + units.size(), source, false);
  units.resize(size_t(r.written));
  Expected expected;
  for (qk::wchar& unit : units) {
    unit = qk_case_fold(unit);
    expect(qk_case_fold(unit) == unit, "folding isn't idempotent");
    char bytes[3];
    const qk::utf8_result one = qk_utf16_to_utf8(bytes, bytes + 3, qk::wstring_view(&unit, 1));
    expected.bytes.append(bytes, size_t(one.written));
    expected.ends.push_back(expected.bytes.size());
    expect(one.written == encodedSize(unit), "a unit's bytes");
  }
  return expected;
}

// The longest prefix of whole characters that fits `room`.
std::string fitting(const Expected& expected, size_t room) {
  size_t end = 0;
  for (const size_t characterEnd : expected.ends) {
    if (characterEnd > room) break;
    end = characterEnd;
  }
  return expected.bytes.substr(0, end);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string_view source(reinterpret_cast<const char*>(data + 1), size - 1);
  const Expected expected = expectedFold(source);

  // Room for everything.
  std::vector<char> wide(expected.bytes.size() + 1);
  const qk::utf8_result all =
      qk::transform_utf8(wide.data(), wide.data() + wide.size(), source, qk_case_fold);
  expect(std::string(wide.data(), size_t(all.written)) == expected.bytes, "the output isn't the folded text");
  expect(all.consumed == source.size() && all.replaced == 0, "the counts of a whole transform");

  // A room chosen by the first byte, into a separate target and in place.
  const size_t room = data[0] < 0xF0 ? size_t(data[0]) : source.size() * (data[0] - 0xEF);
  const std::string want = fitting(expected, room);
  std::vector<char> apart(room);
  const qk::utf8_result a = qk::transform_utf8(apart.data(), apart.data() + room, source, qk_case_fold);
  expect(std::string(apart.data(), size_t(a.written)) == want, "a tight target isn't the fitting prefix");

  std::vector<char> buffer(std::max(room, source.size()));
  if (!source.empty()) std::memcpy(buffer.data(), source.data(), source.size());
  const qk::utf8_result b = qk::transform_utf8(buffer.data(), buffer.data() + room,
                                               std::string_view(buffer.data(), source.size()), qk_case_fold);
  expect(std::string(buffer.data(), size_t(b.written)) == want, "in place differs from a separate target");
  expect(a.consumed == b.consumed && a.written == b.written && a.replaced == b.replaced,
         "in place counts differently");

  // What was written is folded text: it folds to itself.
  std::vector<char> again(want.size());
  const qk::utf8_result c = qk::transform_utf8(again.data(), again.data() + again.size(), want, qk_case_fold);
  expect(std::string(again.data(), size_t(c.written)) == want, "the output doesn't fold to itself");
  return 0;
}
