// UTF-8 and the host's UTF-16 units; formatting on stb_sprintf.
#include <string>

#include <gtest/gtest.h>

#include "qk_format.h"
#include "qk_text.h"

namespace {

TEST(Text, RoundTripsTheBasicMultilingualPlane) {
  const std::string text = "a\xC3\xA4\xE2\x82\xAC\xEF\xBF\xBF";  // a, ä, €, U+FFFF
  const qk::wstring wide = qk_to_wide(text);
  EXPECT_EQ(wide, (qk::wstring{u'a', 0xE4, 0x20AC, 0xFFFF}));
  EXPECT_EQ(qk_to_utf8(wide.c_str()), text);
}

TEST(Text, MalformedInputBecomesReplacementCharacters) {
  EXPECT_EQ(qk_to_wide("\x80x"), (qk::wstring{0xFFFD, u'x'}));
  EXPECT_EQ(qk_to_wide("\xC3"), (qk::wstring{0xFFFD}));
  EXPECT_EQ(qk_to_wide("\xF0\x9F\x98\x80"), (qk::wstring{0xFFFD}));  // beyond the BMP
}

TEST(Text, WideConversionStopsAtTheFirstZero) {
  EXPECT_EQ(qk_to_wide(std::string_view("ab\0cd", 5)), u"ab");
  EXPECT_EQ(qk_to_utf8(nullptr), "");
}

TEST(Format, CountsTheWholeTextAndAlwaysTerminates) {
  char small[4];
  EXPECT_EQ(qk_snprintf(small, sizeof small, "%s", "abcdef"), 6);
  EXPECT_STREQ(small, "abc");
  char untouched = 'u';
  EXPECT_EQ(qk_snprintf(&untouched, 0, "%d", 12345), 5);
  EXPECT_EQ(untouched, 'u');
  const char* volatile none = nullptr;
  EXPECT_EQ(qk_format("%s|%.1f", none, 2.25), "null|2.3");
}

TEST(Format, CutsAFormattedStringAt8191Bytes) {
  EXPECT_EQ(qk_format("%s", std::string(10000, 'x').c_str()).size(), 8191u);
}

}  // namespace
