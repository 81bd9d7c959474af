// Whole-file replacement with POSIX names and answers: a name at NAME_MAX and the error numbers
// of what can't be replaced.
#include <gtest/gtest.h>

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

qk_platform_error writeAll(qk_fs_replacement& replacement, const std::string& bytes) {
  size_t done = 0;
  return qk_platform_write_fully(replacement.file, bytes.data(), bytes.size(), done);
}

TEST(FileReplace, ANameAtTheSystemsLimitStillGetsItsTemporaryFile) {
  TempDir dir;
  const std::string name(255, 'n');
  qk_fs_replacement replacement;
  ASSERT_EQ(qk_fs_replace_begin(name, replacement), 0);
  EXPECT_EQ(fs::path(replacement.temporary).filename().string().size(), 255u);
  ASSERT_EQ(writeAll(replacement, "x"), 0);
  ASSERT_EQ(qk_fs_replace_commit(replacement), 0);
  EXPECT_EQ(TempDir::read(name), "x");
  EXPECT_EQ(entries("."), 1u);
}

TEST(FileReplace, WhatCanNotBeReplacedIsRefusedBeforeAnythingIsMade) {
  TempDir dir;
  fs::create_directory("folder");
  qk_fs_replacement replacement;
  EXPECT_EQ(qk_fs_replace_begin("folder", replacement), EISDIR);
  EXPECT_EQ(qk_fs_replace_begin("missing/file", replacement), ENOENT);
  EXPECT_EQ(qk_fs_replace_begin("", replacement), ENOENT);
  EXPECT_EQ(qk_fs_replace_begin(std::string("a\0b", 3), replacement), EINVAL);
  EXPECT_FALSE(replacement.file.valid());
  EXPECT_EQ(entries("."), 1u);
}

}  // namespace
