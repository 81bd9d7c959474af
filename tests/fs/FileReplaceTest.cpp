// Whole-file replacement: the old file or the whole new one, never a mix, and nothing left behind.
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

TEST(FileReplace, TheOldFileStaysUntilTheCommitAndAnAbandonLeavesNothing) {
  TempDir dir;
  dir.write("scene.qks", "old");
  qk_fs_replacement replacement;
  ASSERT_EQ(qk_fs_replace_begin("scene.qks", replacement), 0);
  ASSERT_EQ(writeAll(replacement, "new content"), 0);
  EXPECT_EQ(TempDir::read("scene.qks"), "old");
  EXPECT_EQ(entries("."), 2u);
  qk_fs_replace_abandon(replacement);
  EXPECT_EQ(TempDir::read("scene.qks"), "old");
  EXPECT_EQ(entries("."), 1u);

  ASSERT_EQ(qk_fs_replace_begin("scene.qks", replacement), 0);
  ASSERT_EQ(writeAll(replacement, "new content"), 0);
  EXPECT_EQ(qk_fs_replace_commit(replacement), 0);
  EXPECT_EQ(TempDir::read("scene.qks"), "new content");
  EXPECT_EQ(entries("."), 1u);
  qk_fs_replace_abandon(replacement);  // over: nothing to do
  EXPECT_EQ(TempDir::read("scene.qks"), "new content");
}

}  // namespace
