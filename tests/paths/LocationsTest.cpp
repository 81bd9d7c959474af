// Real paths made absolute by text, the "is under" prefix rule, the locations list and the
// directory texts.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "TempDir.h"
#include "qk_locations.h"
#include "qk_path.h"

namespace {

std::string real(const char* path, size_t size = 256) {
  std::vector<char> out(size + 1, 'x');
  const int ok = VFS_path_getreal(out.data(), size, path);
  return ok ? std::string(out.data()) : "<failed:" + std::string(out.data()) + ">";
}

TEST(PathGetReal, ResolvesByTextBehindTheWorkingDirectoryAndCutsToTheRoom) {
  TempDir dir;
  const std::string cwd = std::filesystem::current_path().string();
  const std::string slash(1, char(std::filesystem::path::preferred_separator));  // "\\" on Windows
  EXPECT_EQ(real("Missing/./x/../y"), cwd + slash + "Missing" + slash + "y");
  EXPECT_EQ(real("sub/"), cwd + slash + "sub" + slash);
  EXPECT_EQ(real("a/b", 5), cwd.substr(0, 4));
  EXPECT_EQ(real(""), "<failed:>");

  char untouched[4] = "abc";
  EXPECT_EQ(VFS_path_getreal(untouched, 0, "a"), 0);
  EXPECT_STREQ(untouched, "abc");
}

TEST(PathIsUnder, IsAPrefixTestOfTheCaseFoldedAbsolutePaths) {
  TempDir dir;
  EXPECT_EQ(qk_path_is_under("c:/a", "c:/ab"), 1);  // no separator check, on purpose
  EXPECT_EQ(qk_path_is_under("C:/Game", "c:/GAME/x"), 1);
  EXPECT_EQ(qk_path_is_under("game/x/..", "GAME/y"), 1);
  EXPECT_EQ(qk_path_is_under("game/x", "game/y"), 0);
  EXPECT_EQ(qk_path_is_under("", "game"), 0);

  // Both texts are cut to 255 bytes: what is left of them decides. Where the system refuses to
  // make so long a path absolute at all (Windows' 260 units), neither is under the other.
  const std::string deep(300, 'd');
  char room[1024];
  const int absolute = VFS_path_getreal(room, sizeof room, deep.c_str()) ? 1 : 0;
  EXPECT_EQ(qk_path_is_under(deep.c_str(), (deep + "/x").c_str()), absolute);
  EXPECT_EQ(qk_path_is_under((deep + "/x").c_str(), deep.c_str()), absolute);
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

Pairs listed() {
  Pairs seen;
  VFS_get_locations(
      [](void* context, VFS_LocationInfo* info) {
        static_cast<Pairs*>(context)->emplace_back(info->name, info->path);
      },
      &seen);
  return seen;
}

// The system's roots: "/" on POSIX, each drive on Windows.
Pairs roots() {
  Pairs system;
  for (const auto& pair : listed())
    if (pair.first == pair.second) system.push_back(pair);
  return system;
}

TEST(Locations, AddedPairsComeFirstThenTheRootAndRemovalGoesByPath) {
  const Pairs system = roots();
  ASSERT_FALSE(system.empty());
  EXPECT_EQ(listed(), system);
  EXPECT_EQ(VFS_add_location("Game", "game/"), 1);
  EXPECT_EQ(VFS_add_location("Game", "other/"), 0);
  EXPECT_EQ(VFS_add_location("Tools", "tools/"), 1);
  Pairs expected{{"Game", "game/"}, {"Tools", "tools/"}};
  expected.insert(expected.end(), system.begin(), system.end());
  EXPECT_EQ(listed(), expected);

  EXPECT_EQ(VFS_del_location("Game"), 0);  // a name isn't a path
  EXPECT_EQ(VFS_del_location("game/"), 1);
  EXPECT_EQ(VFS_del_location("game/"), 0);
  EXPECT_EQ(VFS_del_location("tools/"), 1);
  EXPECT_EQ(listed(), system);
}

TEST(Locations, ACallbackMayChangeTheList) {
  const Pairs system = roots();
  int calls = 0;
  VFS_add_location("once", "once/");
  VFS_get_locations(
      [](void* context, VFS_LocationInfo* info) {
        ++*static_cast<int*>(context);
        if (std::strcmp(info->name, "once") == 0) VFS_del_location("once/");
      },
      &calls);
  EXPECT_EQ(calls, int(1 + system.size()));
  EXPECT_EQ(listed(), system);
}

}  // namespace
