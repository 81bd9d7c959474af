// Whole-file replacement on Win32: the old file's attributes carry over, a read-only target is
// replaced, an open one is refused with the old file kept, devices are written in place, and the
// 260-unit limit refuses before anything is made.
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <string>

#include "TempDir.h"
#include "platform/qk_fs.h"

namespace {

namespace fs = std::filesystem;

size_t entries(const fs::path& folder) {
  size_t count = 0;
  for (auto it = fs::directory_iterator(folder); it != fs::directory_iterator(); ++it) ++count;
  return count;
}

DWORD attributes(const std::string& name) { return GetFileAttributesW(fs::path(name).c_str()); }

qk_platform_error replace(const std::string& path, const std::string& bytes) {
  qk_fs_replacement replacement;
  if (qk_platform_error error = qk_fs_replace_begin(path, replacement)) return error;
  size_t done = 0;
  if (qk_platform_error error = qk_platform_write_fully(replacement.file, bytes.data(), bytes.size(), done)) {
    qk_fs_replace_abandon(replacement);
    return error;
  }
  return qk_fs_replace_commit(replacement);
}

TEST(FileReplaceWin32, TheTemporaryFileIsHiddenAndTheNewFileTakesTheOldAttributes) {
  TempDir dir;
  dir.write("scene.qks", "old");
  ASSERT_TRUE(SetFileAttributesW(L"scene.qks", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY));
  qk_fs_replacement replacement;
  ASSERT_EQ(qk_fs_replace_begin("scene.qks", replacement), 0);
  EXPECT_EQ(fs::path(replacement.temporary).filename().string().substr(0, 11), ".scene.qks.");
  EXPECT_TRUE(attributes(replacement.temporary) & FILE_ATTRIBUTE_HIDDEN);
  size_t done = 0;
  ASSERT_EQ(qk_platform_write_fully(replacement.file, "new", 3, done), 0);
  ASSERT_EQ(qk_fs_replace_commit(replacement), 0);  // read-only is no obstacle
  EXPECT_EQ(TempDir::read("scene.qks"), "new");
  const DWORD kept = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY;
  EXPECT_EQ(attributes("scene.qks") & kept, kept);
  SetFileAttributesW(L"scene.qks", FILE_ATTRIBUTE_NORMAL);

  ASSERT_EQ(replace("fresh", "made"), 0);  // a new name isn't hidden
  EXPECT_EQ(attributes("fresh") & FILE_ATTRIBUTE_HIDDEN, 0u);
  EXPECT_EQ(entries("."), 2u);
}

TEST(FileReplaceWin32, AnOpenTargetKeepsItsOldContentAndNothingIsLeftBehind) {
  TempDir dir;
  dir.write("busy", "old");
  ASSERT_TRUE(SetFileAttributesW(L"busy", FILE_ATTRIBUTE_READONLY));
  const qk_platform_file holder = qk_fs_open("busy", QK_FS_READ, QK_FS_OPEN_EXISTING, 0);
  ASSERT_TRUE(holder.valid());
  EXPECT_NE(replace("busy", "new"), 0);
  qk_platform_close(holder);
  EXPECT_EQ(TempDir::read("busy"), "old");
  EXPECT_TRUE(attributes("busy") & FILE_ATTRIBUTE_READONLY);  // put back after the failed move
  EXPECT_EQ(entries("."), 1u);
  SetFileAttributesW(L"busy", FILE_ATTRIBUTE_NORMAL);
}

TEST(FileReplaceWin32, DevicesAreWrittenInPlace) {
  TempDir dir;
  qk_fs_replacement replacement;
  ASSERT_EQ(qk_fs_replace_begin("NUL", replacement), 0);
  EXPECT_TRUE(replacement.temporary.empty());
  size_t done = 0;
  EXPECT_EQ(qk_platform_write_fully(replacement.file, "gone", 4, done), 0);
  EXPECT_EQ(qk_fs_replace_commit(replacement), 0);
  EXPECT_EQ(entries("."), 0u);
}

TEST(FileReplaceWin32, WhatCanNotBeReplacedIsRefusedBeforeAnythingIsMade) {
  TempDir dir;
  fs::create_directory("folder");
  qk_fs_replacement replacement;
  EXPECT_EQ(qk_fs_replace_begin("folder", replacement), qk_platform_error(ERROR_ACCESS_DENIED));
  EXPECT_EQ(qk_fs_replace_begin("missing\\file", replacement), qk_platform_error(ERROR_PATH_NOT_FOUND));
  EXPECT_EQ(qk_fs_replace_begin("", replacement), qk_platform_error(ERROR_PATH_NOT_FOUND));
  EXPECT_EQ(qk_fs_replace_begin(std::string("a\0b", 3), replacement), qk_platform_error(ERROR_INVALID_NAME));
  // A full name that fits the limit while its temporary name (14 units longer) doesn't.
  const std::string folder = fs::current_path().string() + "\\";
  const std::string name = folder + std::string(MAX_PATH - 1 - folder.size() - 5, 'n');
  EXPECT_EQ(qk_fs_replace_begin(name, replacement), qk_platform_error(ERROR_FILENAME_EXCED_RANGE));
  EXPECT_FALSE(replacement.file.valid());
  EXPECT_EQ(entries("."), 1u);
}

}  // namespace
