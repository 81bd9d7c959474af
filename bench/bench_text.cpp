// UTF-8 to UTF-16 units and back over a large mixed text, against iconv; case folding of the
// units, against towlower per unit.
#include <clocale>
#include <cwctype>
#include <string>
#include <vector>

#include <iconv.h>

#include <benchmark/benchmark.h>

#include "PeerRatio.h"
#include "qk_case_fold.h"
#include "qk_utf8.h"

namespace {

// About 1 MiB of material names and comments: ASCII, Latin-1, Greek, Cyrillic and CJK, all in
// the Basic Multilingual Plane, where both converters do the same work.
const std::string& mixed_text() {
  static const std::string text = [] {
    const std::string piece =
        "Material \"Stone_Wall_01\" uses shader standard_lit; "
        "Gr\xC3\xBC\xC3\x9F" "e aus K\xC3\xB6ln, caf\xC3\xA9 cr\xC3\xA8me, "
        "\xCE\x91\xCE\xB8\xCE\xAE\xCE\xBD\xCE\xB1 \xD0\x9C\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0 "
        "\xE6\x9D\x90\xE8\xB3\xAA\xE3\x81\xAE\xE8\xA8\xAD\xE5\xAE\x9A\n";
    std::string out;
    while (out.size() < (1u << 20)) out += piece;
    return out;
  }();
  return text;
}

void BM_QkRoundTrip(benchmark::State& state) {
  const std::string& text = mixed_text();
  std::vector<char16_t> units(text.size());
  std::string back(text.size() * 3, '\0');
  for (auto _ : state) {
    const qk::utf8_result wide =
        qk_utf8_to_utf16(units.data(), units.data() + units.size(), text, false);
    const qk::utf8_result narrow = qk_utf16_to_utf8(
        back.data(), back.data() + back.size(), qk::wstring_view(units.data(), size_t(wide.written)));
    benchmark::DoNotOptimize(narrow);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text.size()));
}
BENCHMARK(BM_QkRoundTrip);

void BM_IconvRoundTrip(benchmark::State& state) {
  const std::string& text = mixed_text();
  std::vector<char16_t> units(text.size());
  std::string back(text.size() * 3, '\0');
  iconv_t to16 = iconv_open("UTF-16LE", "UTF-8"), to8 = iconv_open("UTF-8", "UTF-16LE");
  for (auto _ : state) {
    char* in = const_cast<char*>(text.data());
    size_t in_left = text.size();
    char* out = reinterpret_cast<char*>(units.data());
    size_t out_left = units.size() * 2;
    iconv(to16, &in, &in_left, &out, &out_left);
    const size_t wide_bytes = units.size() * 2 - out_left;
    in = reinterpret_cast<char*>(units.data());
    in_left = wide_bytes;
    out = back.data();
    out_left = back.size();
    iconv(to8, &in, &in_left, &out, &out_left);
    benchmark::DoNotOptimize(out_left);
  }
  iconv_close(to16);
  iconv_close(to8);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text.size()));
}
BENCHMARK(BM_IconvRoundTrip);

std::vector<char16_t> mixed_units() {
  const std::string& text = mixed_text();
  std::vector<char16_t> units(text.size());
  units.resize(size_t(qk_utf8_to_utf16(units.data(), units.data() + units.size(), text, false).written));
  return units;
}

void BM_QkCaseFold(benchmark::State& state) {
  const std::vector<char16_t> units = mixed_units();
  std::vector<char16_t> folded(units.size());
  for (auto _ : state) {
    for (size_t i = 0; i < units.size(); ++i) folded[i] = qk_case_fold(units[i]);
    benchmark::DoNotOptimize(folded.data());
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(units.size()));
}
BENCHMARK(BM_QkCaseFold);

void BM_Towlower(benchmark::State& state) {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  const std::vector<char16_t> units = mixed_units();
  std::vector<char16_t> folded(units.size());
  for (auto _ : state) {
    for (size_t i = 0; i < units.size(); ++i) folded[i] = char16_t(std::towlower(wint_t(units[i])));
    benchmark::DoNotOptimize(folded.data());
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(units.size()));
}
BENCHMARK(BM_Towlower);

}  // namespace

int main(int argc, char** argv) {
  return qkbench::runWithRatios(argc, argv, {{"BM_QkRoundTrip", "BM_IconvRoundTrip"},
                                             {"BM_QkCaseFold", "BM_Towlower"}});
}
