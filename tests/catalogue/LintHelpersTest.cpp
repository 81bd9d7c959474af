// The two helpers of the catalogue checker: the strict reading of UTF-8 that decides what the host's
// wide conversion does to a text, and the edit distance behind "did you mean".
#include <gtest/gtest.h>

#include "NameSuggestion.h"
#include "Utf8Form.h"

namespace {

TEST(Utf8Form, OnlyWellFormedSequencesPass) {
  EXPECT_TRUE(inspectUtf8("plain \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80").wellFormed);
  for (const char* bad :
       {"\xC0\x80", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\x80", "\xFF"})
    EXPECT_FALSE(inspectUtf8(bad).wellFormed) << bad;
  const Utf8Form latin1 = inspectUtf8("B\xE9ton");
  EXPECT_FALSE(latin1.wellFormed);
  EXPECT_EQ(latin1.firstBadByte, 1u);
  EXPECT_EQ(wellFormedPrefix("ab\xE9"
                             "cd"),
            2u);
}

TEST(Utf8Form, TheFirstCharacterBeyondTheBmpIsNamed) {
  EXPECT_EQ(inspectUtf8("\xEF\xBF\xBF").beyondBmp, 0u);
  EXPECT_EQ(inspectUtf8("a\xF0\x9F\x98\x80 \xF0\x90\x80\x80").beyondBmp, 0x1F600u);
}

TEST(Utf8Form, RepairReplacesEachBadByteAndHexKeepsEveryByte) {
  EXPECT_EQ(wellFormedUtf8("B\xE9t\xE2\x82"), "B\xEF\xBF\xBDt\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(wellFormedUtf8("ok \xC3\xA9"), "ok \xC3\xA9");
  EXPECT_EQ(hexBytes(std::string("\x00\xFFz", 3)), "00ff7a");
}

TEST(NameSuggestion, SwapsAndCaseCountLittle) {
  EXPECT_EQ(editDistance("textrues", "textures"), 1u);
  EXPECT_EQ(editDistance("mesh", "Mesh"), 0u);
  EXPECT_EQ(editDistance("shadow_caster", "shadowCaster"), 1u);
  EXPECT_EQ(editDistance("", "tex"), 3u);
  EXPECT_EQ(editDistance("abc", "ca"), 3u);  // optimal alignment: a swapped pair isn't edited again
}

TEST(NameSuggestion, OnlyANearNameIsSuggested) {
  const std::vector<std::string_view> fields = {"tex", "channel", "uniforms"};
  EXPECT_EQ(closestName("texx", fields), "tex");
  EXPECT_EQ(closestName("chanel", fields), "channel");
  EXPECT_EQ(closestName("uniform", fields), "uniforms");
  EXPECT_EQ(closestName("name", fields), "");
  EXPECT_EQ(closestName("colour", fields), "");
}

}  // namespace
