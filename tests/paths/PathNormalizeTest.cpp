// qk_path_normalize: every row of the result table, the fold, the segment stack beyond its room
// in place, long paths and bad UTF-8.
#include <gtest/gtest.h>

#include <string>

#include "PathBuffer.h"
#include "qk_path.h"

namespace {

std::string normalized(const std::string& path, bool fold = false) {
  std::string out = "stale";
  qk_path_normalize(path, out, fold);
  PathBuffer<8> small;  // small on purpose: long results move to the heap
  small.assign("stale");
  EXPECT_EQ(qk_path_normalize(path, small, fold), out) << path;
  return out;
}

TEST(PathNormalize, EveryRowOfTheResultTable) {
  const struct {
    const char* in;
    const char* out;
  } rows[] = {
      {"/", "/"},
      {"//", "/"},
      {"\\", "/"},
      {".", ""},
      {"./", ""},
      {"./a", "a"},
      {".a", ".a"},
      {"..", ".."},
      {"../", "../"},
      {"../a", "../a"},
      {"..a", "a"},
      {"...", "..."},
      {"a/", "a/"},
      {"a//b", "a/b"},
      {"a\\b", "a/b"},
      {"a/./b", "a/b"},
      {"a/.", "a"},
      {"a/..", ""},
      {"a/../", "/"},
      {"a/../b", "/b"},
      {"x/a/../b", "x/b"},
      {"/a/../b", "/b"},
      {"/a/..", ""},
      {"/..", "/.."},
      {"/a/../..", "/.."},
      {"./a/../b", "a/../b"},
      {"/./a/../b", "/a/../b"},
      {"a/.b/../c", "/c"},
      {"a/..b", "a/..b"},
      {"", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(normalized(row.in), row.out) << "input " << row.in;
    EXPECT_EQ(normalized(row.in, true), row.out) << "folded input " << row.in;
  }
}

TEST(PathNormalize, FoldLowersEverythingButDotsAndSeparators) {
  EXPECT_EQ(normalized("/Data/\xC3\x80"
                       "B.TXT",
                       true),
            "/data/\xC3\xA0"
            "b.txt");
  EXPECT_EQ(normalized("/Data/\xC3\x80"
                       "B.TXT",
                       false),
            "/Data/\xC3\x80"
            "B.TXT");
  EXPECT_EQ(normalized("A\\..\\B\\C", true), "/b/c");
}

TEST(PathNormalize, DotDotCutsBackBeyondSixteenSegments) {
  std::string path;
  for (int i = 0; i < 40; ++i) path += "s" + std::to_string(i) + "/";
  for (int i = 0; i < 39; ++i) path += "../";
  EXPECT_EQ(normalized(path), "s0/");
  path += "../..";
  EXPECT_EQ(normalized(path), "/..");
}

TEST(PathNormalize, LongPathsComeOutWhole) {
  std::string path, expected;
  for (int i = 0; i < 200; ++i) {
    path += "Folder" + std::to_string(i) + "//";
    expected += (i ? "/" : "") + std::string("folder") + std::to_string(i);
  }
  PathBuffer<256> out;
  EXPECT_EQ(qk_path_normalize(path, out, true), expected + "/");
  EXPECT_TRUE(out.on_heap());
}

TEST(PathNormalize, BadTextComesOutReplacedAndAZeroEndsIt) {
  EXPECT_EQ(normalized("a\x80"
                       "b"),
            "a\xEF\xBF\xBD"
            "b");                                          // a stray byte is U+FFFD
  EXPECT_EQ(normalized(std::string("a/b\0c", 5)), "a/b");  // a zero unit ends the text
  EXPECT_EQ(normalized("ab\xF8"
                       "cd"),
            "ab");                                              // no such lead: read as zero
  EXPECT_EQ(normalized("x\xF0\x9F\x98\x80"), "x\xEF\x98\x80");  // beyond the BMP: low 16 bits
  EXPECT_EQ(normalized("/\xC3"), "/\xEF\xBF\xBD");              // a sequence cut by the end
}

}  // namespace
