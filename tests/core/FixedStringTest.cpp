// Fixed strings, PathBuffer's growth and qk_format: what happens at the edge of the room.
#include <string>

#include <gtest/gtest.h>

#include "FixedString.h"
#include "PathBuffer.h"
#include "qk_format.h"

namespace {

TEST(FixedString, FormatCutsAtTheCapacity) {
  FixedString<128> text;
  const std::string long_text(200, 'x');
  EXPECT_EQ(text.format("%s", long_text.c_str()), 128u);
  EXPECT_EQ(std::string(text.c_str()), long_text.substr(0, 128));
  EXPECT_EQ(text.format("%d", 42), 2u);
  EXPECT_STREQ(text.c_str(), "42");
  static_assert(sizeof(FixedString<255>::length_type) == 1 && sizeof(FixedString<256>::length_type) == 2);
}

TEST(FixedString, AppendsOnlyIntoTheRoomLeft) {
  FixedString<8> text;
  EXPECT_EQ(text.append_format("%s", "abc"), 3u);
  EXPECT_EQ(text.append_format("%s", "defghij"), 5u);  // did not fit: the room there was
  EXPECT_STREQ(text.c_str(), "abcdefgh");
  EXPECT_EQ(text.size(), 8u);
  text.truncate(2);
  EXPECT_EQ(text.append("xyz0123", 7), 6u);
  EXPECT_STREQ(text.c_str(), "abxyz012");
}

TEST(WideFixedString, CutsAPathAt260Units) {
  WideFixedString<260> path;
  path.assign_utf8(std::string(300, 'p'));
  EXPECT_EQ(path.size(), 260u);
  EXPECT_EQ(path.c_str()[260], 0);
  path.assign_utf8("C:/\xC3\xA4");
  EXPECT_EQ(std::u16string(path.c_str()), u"C:/\u00E4");
}

TEST(PathBuffer, GrowsByTheFactorAndKeepsItsText) {
  PathBuffer<8> path;
  EXPECT_TRUE(path.assign("abcdefgh"));
  EXPECT_FALSE(path.on_heap());
  EXPECT_TRUE(path.append("ij"));
  EXPECT_TRUE(path.on_heap());
  EXPECT_EQ(path.capacity(), 19u);  // 10 * 1.8 + 1
  EXPECT_EQ(path.view(), "abcdefghij");
  EXPECT_TRUE(path.append(std::string(100, 'k')));
  EXPECT_EQ(path.capacity(), 199u);  // 110 * 1.8 + 1, in float
  EXPECT_EQ(path.view().substr(0, 12), "abcdefghijkk");
  path.clear();
  EXPECT_TRUE(path.on_heap());  // once grown, the text stays on the heap
  EXPECT_STREQ(path.c_str(), "");
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
