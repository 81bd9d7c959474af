// The generated folding table against the Unicode data it was made from.
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "qk_case_fold.h"

namespace {

std::map<unsigned, unsigned> read_data() {
  std::map<unsigned, unsigned> mappings;
  std::ifstream in(QK_CASEFOLD_DATA);
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    unsigned code = 0, folded = 0;
    char status = 0;
    if (std::sscanf(line.c_str(), "%x; %c; %x", &code, &status, &folded) == 3) mappings[code] = folded;
  }
  return mappings;
}

TEST(CaseFold, EveryUnitFoldsAsTheDataSays) {
  const std::map<unsigned, unsigned> data = read_data();
  ASSERT_EQ(data.size(), 1202u);
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    const auto it = data.find(unit);
    ASSERT_EQ(qk_case_fold(uint16_t(unit)), it == data.end() ? unit : it->second) << std::hex << unit;
  }
}

TEST(CaseFold, PagesWithoutMappingsAreLeftOut) {
  int pages = 0;
  for (const uint16_t* page : qk_case_fold_pages) pages += page != nullptr;
  EXPECT_EQ(pages, 19);
  EXPECT_EQ(qk_case_fold(0xAB70), 0x13A0);  // Cherokee folds to its upper case
  EXPECT_EQ(qk_case_fold(0x212A), 0x006B);  // Kelvin sign
}

}  // namespace
