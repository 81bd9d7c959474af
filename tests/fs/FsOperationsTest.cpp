// The platform's path operations: answers, quiet misses and the exact failure lines.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "LogCapture.h"
#include "TempDir.h"
#include "platform/qk_fs.h"

namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

std::string utf8_of(qk::wstring_view wide) {
  std::string out;
  for (qk::wchar unit : wide) out += char(unit);  // the tests' paths are ASCII
  return out;
}

TEST(FsDelete, MissingIsQuietAndOtherFailuresAreLogged) {
  TempDir dir;
  dir.write("file", "x");
  fs::create_directory("folder");
  LogCapture log;
  EXPECT_TRUE(qk_fs_delete("file", false));
  EXPECT_FALSE(fs::exists("file"));
  EXPECT_FALSE(qk_fs_delete("file", false));
  EXPECT_FALSE(qk_fs_delete("nowhere/file", false));
  EXPECT_FALSE(qk_fs_delete("folder", false));
  EXPECT_FALSE(qk_fs_delete(std::string(5000, 'a'), false));
  dir.write("kept", "x");
  EXPECT_FALSE(qk_fs_delete("kept", true));
  EXPECT_TRUE(fs::exists("kept"));
  EXPECT_EQ(log.errors(), (Lines{"Failed to delete folder: Is a directory",
                                 "Failed to delete " + std::string(5000, 'a') + ": File name too long",
                                 "Failed to delete kept: Operation not supported"}));
}

TEST(FsMove, ReplacesTheTargetAndLogsBothNamesOnFailure) {
  TempDir dir;
  dir.write("a", "new");
  dir.write("b", "old");
  LogCapture log;
  EXPECT_TRUE(qk_fs_move("a", "b"));
  EXPECT_FALSE(fs::exists("a"));
  EXPECT_EQ(TempDir::read("b"), "new");
  EXPECT_FALSE(qk_fs_move("a", "c"));
  EXPECT_EQ(log.errors(), Lines{"Failed to move a to c: No such file or directory"});
}

TEST(FsFolders, MkdirOneLevelAndRmdirOnlyWhenEmpty) {
  TempDir dir;
  LogCapture log;
  EXPECT_TRUE(qk_fs_mkdir("d"));
  EXPECT_TRUE(fs::is_directory("d"));
  EXPECT_TRUE(qk_fs_mkdir("d"));  // an existing folder is success
  EXPECT_FALSE(qk_fs_mkdir("x/y"));
  dir.write("d/f", "1");
  EXPECT_FALSE(qk_fs_rmdir("d", true));   // not empty, quiet
  EXPECT_FALSE(qk_fs_rmdir("d", false));  // not empty, logged
  EXPECT_FALSE(qk_fs_rmdir("gone", true));
  fs::remove("d/f");
  EXPECT_TRUE(qk_fs_rmdir("d", false));
  EXPECT_FALSE(fs::exists("d"));
  // ".." resolves by text before the system sees the path, so a missing folder may stand before it.
  EXPECT_TRUE(qk_fs_mkdir("not-there/../made"));
  EXPECT_TRUE(fs::is_directory("made"));
  EXPECT_TRUE(qk_fs_rmdir("not-there/./../made/", false));
  EXPECT_FALSE(fs::exists("made"));
  EXPECT_EQ(log.errors(),
            (Lines{"Failed to mkdir x/y: No such file or directory", "Failed to rmdir d: Directory not empty",
                   "Failed to rmdir gone: No such file or directory"}));
}

TEST(FsStat, GivesSizeKindAndTimeAndIsQuietWhenMissing) {
  TempDir dir;
  dir.write("f", "12345");
  fs::create_directory("d");
  const time_t when = 1700000000;  // 2023-11-14, far from any daylight-saving change
  const utimbuf times{when, when};
  ASSERT_EQ(utime("f", &times), 0);
  LogCapture log;
  fs_entry entry;
  ASSERT_TRUE(qk_fs_stat("f", &entry));
  EXPECT_EQ(entry.size, 5u);
  EXPECT_EQ(entry.kind, 1u);
  EXPECT_EQ(entry.modification_time, when);
  ASSERT_TRUE(qk_fs_stat("d", &entry));
  EXPECT_EQ(entry.size, 0u);
  EXPECT_EQ(entry.kind, 2u);
  EXPECT_FALSE(qk_fs_stat("missing", &entry));
  EXPECT_FALSE(qk_fs_stat(std::string(5000, 'a'), &entry));
  EXPECT_TRUE(log.errors().empty());
}

struct Listed {
  std::string folder;
  std::map<std::string, fs_entry> entries;
};

void collect(void* user, std::string_view folder, std::string_view name, const fs_entry& entry) {
  auto* listed = static_cast<Listed*>(user);
  listed->folder = folder;
  listed->entries[std::string(name)] = entry;
}

TEST(FsList, SkipsDotNamesAndGivesKinds) {
  TempDir dir;
  fs::create_directory("d");
  dir.write("d/.hidden", "x");
  Listed listed;
  EXPECT_EQ(qk_fs_list("d", collect, &listed), 0);

  dir.write("d/file", "abc");
  fs::create_directory("d/sub");
  fs::create_symlink("nowhere", "d/dangling");
  EXPECT_EQ(qk_fs_list("d", collect, &listed), 3);
  EXPECT_EQ(listed.folder, "d");
  ASSERT_EQ(listed.entries.size(), 3u);
  EXPECT_EQ(listed.entries["file"].size, 3u);
  EXPECT_EQ(listed.entries["file"].kind, 1u);
  EXPECT_EQ(listed.entries["sub"].kind, 2u);
  EXPECT_EQ(listed.entries["dangling"].kind, 1u);

  Listed here;
  EXPECT_EQ(qk_fs_list("", collect, &here), 1);  // the working directory: "d"
  EXPECT_EQ(here.entries.count("d"), 1u);
  EXPECT_EQ(qk_fs_list("missing", collect, &here), -1);
}

TEST(FsFullPath, MakesAbsolutePathsByTextAlone) {
  TempDir dir;
  const std::string here = fs::current_path().string();
  std::string result;
  auto keep = [&result](qk::wstring_view wide) { result = utf8_of(wide); };
  ASSERT_TRUE(qk_fs_full_path("a/./b/../c/", keep));
  EXPECT_EQ(result, here + "/a/c/");
  ASSERT_TRUE(qk_fs_full_path("not/there", keep));  // needn't exist
  EXPECT_EQ(result, here + "/not/there");
  ASSERT_TRUE(qk_fs_full_path("/../x//y/.", keep));
  EXPECT_EQ(result, "/x/y");
  ASSERT_TRUE(qk_fs_full_path("/", keep));
  EXPECT_EQ(result, "/");
  EXPECT_FALSE(qk_fs_full_path("", keep));
  EXPECT_FALSE(qk_fs_full_path(std::string(3000, 'a') + "/" + std::string(3000, 'b'), keep));
}

TEST(FsCreateTemp, IsAnExclusiveLockFileRemovedAtClose) {
  TempDir dir;
  qk_platform_file first, second;
  EXPECT_EQ(qk_fs_create_temp("lock", &first), 0);
  ASSERT_TRUE(first.valid());
  EXPECT_TRUE(fs::exists("lock"));
  EXPECT_EQ(qk_fs_create_temp("lock", &second), EWOULDBLOCK);  // held: the second holder is refused
  EXPECT_FALSE(second.valid());
  qk_fs_close_temp(first);
  EXPECT_FALSE(fs::exists("lock"));

  dir.write("leftover", "old");  // a file nobody holds is taken over, and still reported
  EXPECT_EQ(qk_fs_create_temp("leftover", &second), EEXIST);
  ASSERT_TRUE(second.valid());
  EXPECT_EQ(fs::file_size("leftover"), 0u);
  qk_fs_close_temp(second);
  EXPECT_FALSE(fs::exists("leftover"));

  EXPECT_EQ(qk_fs_create_temp("no/folder", &second), ENOENT);
  EXPECT_EQ(qk_fs_create_temp(std::string(5000, 'a').c_str(), &second), -1);
}

TEST(FsCreateTemp, AReusedDescriptorNeverRemovesAnotherFile) {
  TempDir dir;
  qk_platform_file first, second;
  ASSERT_EQ(qk_fs_create_temp("first.lock", &first), 0);
  close(int(first.handle));  // the plain way: the file stays, and the number is free again
  ASSERT_EQ(qk_fs_create_temp("second.lock", &second), 0);
  ASSERT_EQ(second.handle, first.handle);  // the lowest free number comes back
  qk_fs_close_temp(second);
  EXPECT_FALSE(fs::exists("second.lock"));
  EXPECT_TRUE(fs::exists("first.lock"));

  // The number reused by a file that isn't a lock file: closing that one removes nothing.
  ASSERT_EQ(qk_fs_create_temp("third.lock", &first), 0);
  close(int(first.handle));
  const qk_platform_file plain = qk_fs_open("plain", QK_FS_WRITE, QK_FS_CREATE_ALWAYS, 0);
  ASSERT_EQ(plain.handle, first.handle);
  qk_fs_close_temp(plain);
  EXPECT_TRUE(fs::exists("third.lock"));
  EXPECT_TRUE(fs::exists("plain"));
}

// Sets PATH for the scope.
class PathVariable {
 public:
  explicit PathVariable(const std::string& value) : old_(std::getenv("PATH") ? std::getenv("PATH") : "") {
    setenv("PATH", value.c_str(), 1);
  }
  ~PathVariable() { setenv("PATH", old_.c_str(), 1); }

 private:
  std::string old_;
};

TEST(ShellOpen, HandsExistingFilesAndUrlsToXdgOpenWithoutWaiting) {
  TempDir dir;
  fs::create_directory("bin");
  const std::string record = (dir.path() / "opened").string();
  dir.write("bin/xdg-open", "#!/bin/sh\nprintf '%s\\n' \"$1\" >> '" + record + "'\n");
  fs::permissions("bin/xdg-open", fs::perms::owner_all);
  dir.write("some file.txt", "x");
  {
    PathVariable path((dir.path() / "bin").string() + ":/usr/bin:/bin");  // ours comes first
    EXPECT_EQ(qk_shell_open("missing.txt"), ENOENT);  // a missing local file, as the shell call says
    EXPECT_EQ(qk_shell_open("missing/folder/x"), ENOENT);
    EXPECT_EQ(qk_shell_open("some file.txt"), 0);
    EXPECT_EQ(qk_shell_open("https://example.org/a b"), 0);  // a URL isn't a file to look for
  }
  std::vector<std::string> opened;
  for (int i = 0; i < 500 && opened.size() < 2; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    std::istringstream lines(fs::exists(record) ? TempDir::read(record) : "");
    opened.clear();
    for (std::string line; std::getline(lines, line);) opened.push_back(line);
  }
  std::sort(opened.begin(), opened.end());
  EXPECT_EQ(opened, (Lines{"https://example.org/a b", "some file.txt"}));

  PathVariable empty((dir.path() / "nothing").string());
  EXPECT_EQ(qk_shell_open("some file.txt"), ENOENT);  // no opener
}

}  // namespace
