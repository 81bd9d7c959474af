// qk_path_normalize against a reference model written from its rules as a table: any bytes give
// the same output as the model, with and without the fold, into both kinds of output, and the
// output is never longer in units than the input. A difference aborts.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "PathBuffer.h"
#include "qk_path.h"
#include "qk_utf8.h"

namespace {

using Units = std::vector<uint16_t>;

// What a character does in a state: push a segment start, write a text, write the character,
// cut back (pop), and the next state.
struct Rule {
  bool push;
  const char* text;
  bool character;
  bool pop;
  int next;
};

enum Class { kSeparator, kDot, kOther };

// kRules[state][class], states 0 to 8 as the rules number them.
const Rule kRules[9][3] = {
    {{false, "", false, false, 1}, {false, "", false, false, 3}, {true, "", true, false, 8}},
    {{false, "", false, false, 1}, {false, "/", false, false, 3}, {true, "/", true, false, 8}},
    {{false, "", false, false, 2}, {false, "", false, false, 5}, {true, "/", true, false, 8}},
    {{false, "", false, false, 7}, {false, "", false, false, 4}, {false, ".", true, false, 8}},
    {{false, "..", false, false, 2}, {false, "...", false, false, 8}, {false, "", true, false, 8}},
    {{false, "", false, false, 2}, {false, "", false, false, 6}, {false, "/.", true, false, 8}},
    {{false, "", false, true, 2}, {false, "/...", false, false, 8}, {false, "/..", true, false, 8}},
    {{false, "", false, false, 7}, {false, "", false, false, 3}, {false, "", true, false, 8}},
    {{false, "", false, false, 2}, {false, "", true, false, 8}, {false, "", true, false, 8}},
};
// What the end of the text does in each state: a text to append, or a pop.
const Rule kEnd[9] = {
    {false, "", false, false, 0}, {false, "/", false, false, 0},  {false, "/", false, false, 0},
    {false, "", false, false, 0}, {false, "..", false, false, 0}, {false, "", false, false, 0},
    {false, "", false, true, 0},  {false, "", false, false, 0},   {false, "", false, false, 0},
};

void apply(const Rule& rule, uint16_t c, bool fold, Units& out, std::vector<size_t>& starts) {
  if (rule.push) starts.push_back(out.size());
  for (const char* t = rule.text; *t; ++t) out.push_back(uint16_t(*t));
  if (rule.character) out.push_back(fold ? qk_path_fold_unit(c) : c);
  if (rule.pop) {
    if (starts.empty()) {
      for (const char* t = "/.."; *t; ++t) out.push_back(uint16_t(*t));
    } else {
      out.resize(starts.back());
      starts.pop_back();
    }
  }
}

Units model(const Units& input, bool fold) {
  Units out;
  std::vector<size_t> starts;
  int state = 0;
  for (const uint16_t c : input) {
    const Class kind = c == '/' || c == '\\' ? kSeparator : c == '.' ? kDot : kOther;
    const Rule& rule = kRules[state][kind];
    apply(rule, c, fold, out, starts);
    state = rule.next;
  }
  apply(kEnd[state], 0, fold, out, starts);
  return out;
}

// The input's units as the core's decoder gives them, up to the first zero.
Units decode(const std::string& text) {
  Units units(text.size() + 1, 0);
  const qk::utf8_result r =
      qk_utf8_to_utf16(reinterpret_cast<qk::wchar*>(units.data()),
                       reinterpret_cast<qk::wchar*>(units.data()) + units.size(), text, false);
  units.resize(size_t(r.written));
  for (size_t i = 0; i < units.size(); ++i)
    if (units[i] == 0) units.resize(i);
  return units;
}

std::string encode(const Units& units) {
  std::string bytes(units.size() * 3, '\0');
  const qk::utf8_result r =
      qk_utf16_to_utf8(&bytes[0], &bytes[0] + bytes.size(),
                       qk::wstring_view(reinterpret_cast<const qk::wchar*>(units.data()), units.size()));
  bytes.resize(size_t(r.written));
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const Units units = decode(input);
  for (const bool fold : {false, true}) {
    const Units expected = model(units, fold);
    if (expected.size() > units.size()) std::abort();  // never longer than the input in units
    const std::string wanted = encode(expected);
    std::string text;
    PathBuffer<16> buffer;
    if (qk_path_normalize(input, text, fold) != wanted) std::abort();
    if (qk_path_normalize(input, buffer, fold) != wanted) std::abort();
    if (std::strlen(buffer.c_str()) != buffer.size()) std::abort();  // terminated, no zero inside
  }
  return 0;
}
