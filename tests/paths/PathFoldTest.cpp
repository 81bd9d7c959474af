// The path fold: its own table against the Unicode data, and towlower behind it.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "platform/qk_platform.h"
#include "qk_path.h"

namespace {

std::map<unsigned, unsigned> unicode_folding() {
  std::map<unsigned, unsigned> mappings;
  std::ifstream in(QK_CASEFOLD_DATA);
  for (std::string line; std::getline(in, line);) {
    unsigned code = 0, folded = 0;
    char status = 0;
    if (line[0] != '#' && std::sscanf(line.c_str(), "%x; %c; %x", &code, &status, &folded) == 3)
      mappings[code] = folded;
  }
  return mappings;
}

std::map<unsigned, unsigned> table_rows() {
  std::map<unsigned, unsigned> rows;
  for (size_t i = 0; i < qk_path_fold_run_count; ++i) {
    const qk_path_fold_run& run = qk_path_fold_runs[i];
    for (unsigned u = run.first; u <= run.last; u += run.step) {
      EXPECT_EQ(rows.count(u), 0u) << "twice: " << std::hex << u;
      rows[u] = unsigned(int(u) + run.delta);
    }
  }
  return rows;
}

TEST(PathFold, TheTableIsTodaysMappingButForItsOwnRows) {
  const std::map<unsigned, unsigned> rows = table_rows();
  ASSERT_EQ(rows.size(), 665u);
  const std::map<unsigned, unsigned> unicode = unicode_folding();
  for (const auto& [unit, lower] : rows) {
    if (unit == 0x18E) {
      EXPECT_EQ(lower, 0x258u);
    } else if (unit >= 0x10A0 && unit <= 0x10C5) {
      EXPECT_EQ(lower, unit + 0x30) << std::hex << unit;
    } else {
      ASSERT_EQ(unicode.count(unit), 1u) << std::hex << unit;
      EXPECT_EQ(lower, unicode.at(unit)) << std::hex << unit;
    }
  }
  EXPECT_EQ(rows.count(0x189), 0u);
  EXPECT_EQ(rows.count(0x40D), 0u);
}

TEST(PathFold, TheTableWinsAndTowlowerTakesTheRest) {
  const std::map<unsigned, unsigned> rows = table_rows();
  for (const auto& [unit, lower] : rows)
    ASSERT_EQ(qk_path_fold_unit(uint16_t(unit)), lower) << std::hex << unit;
  EXPECT_EQ(qk_path_fold_unit(0x189), 0x256);  // not in the table: towlower
  EXPECT_EQ(qk_path_fold_unit(0x40D), 0x45D);
  // The dotted capital I and the Kelvin sign are the system's to decide: C.UTF-8 lowers them to
  // i and k, Windows' invariant locale keeps them.
  std::vector<uint16_t> lower(0x10000);
  qk_platform_lower_units(lower.data());
  EXPECT_EQ(qk_path_fold_unit(0x130), lower[0x130]);
  EXPECT_EQ(qk_path_fold_unit(0x212A), lower[0x212A]);
  EXPECT_EQ(qk_path_fold_unit('.'), '.');
  EXPECT_EQ(qk_path_fold_unit(0xD800), 0xD800);
}

TEST(PathFold, AFoldedTextMayGrowInBytes) {
  std::string out;
  EXPECT_EQ(qk_path_fold("\xC8\xBA/Ab.C", out), "\xE2\xB1\xA5/ab.c");  // U+023A -> U+2C65
  PathBuffer<4> small;
  EXPECT_EQ(qk_path_fold("ABCDEFGH", small), "abcdefgh");
}

}  // namespace
