// WinFileRaw: the three opens, the driver form, and every failure line.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

#include "BufferBytes.h"
#include "LogCapture.h"
#include "TempDir.h"
#include "qkvfs/Drivers/DataProviders/WinFileRaw.h"

namespace {

using qkvfs::WinFileRaw;
using Lines = std::vector<std::string>;

TEST(WinFileRaw, ReadOpenReadsSeeksSkipsAndGivesItsWholeBuffer) {
  TempDir dir;
  dir.write("f", "0123456789");
  WinFileRaw* file = WinFileRaw::open_read("f");
  ASSERT_NE(file, nullptr);
  EXPECT_STREQ(file->name(), "f");
  EXPECT_STREQ(file->vfs_name(), "f");
  EXPECT_EQ(file->size(), 10u);
  char out[16] = {};
  EXPECT_EQ(file->read(out, 4), 4u);
  EXPECT_STREQ(out, "0123");
  EXPECT_TRUE(file->skip(2));
  EXPECT_TRUE(file->skip(-1));
  EXPECT_EQ(file->tell(), 5u);
  EXPECT_EQ(bytes_of(file->buffer()), "0123456789");
  EXPECT_EQ(file->tell(), 5u);  // kept
  EXPECT_EQ(file->read(out, sizeof out), 5u);
  EXPECT_TRUE(file->seek(1));
  EXPECT_EQ(file->read(out, 2), 2u);
  EXPECT_EQ(std::string(out, 2), "12");
  file->release();
}

TEST(WinFileRaw, FailedOpensLogTheirOperationUnlessAReadIsSilent) {
  TempDir dir;
  std::filesystem::create_directory("folder");
  LogCapture log;
  EXPECT_EQ(WinFileRaw::open_read("missing"), nullptr);
  EXPECT_EQ(WinFileRaw::open_read("missing", true), nullptr);
  EXPECT_EQ(WinFileRaw::open_read("folder"), nullptr);
  EXPECT_EQ(WinFileRaw::open_rewrite("no/such"), nullptr);
  EXPECT_EQ(WinFileRaw::open_append("folder"), nullptr);
  const std::string missing = system_words(qk_test_failure::missing_file);
  const std::string folder = system_words(qk_test_failure::folder_as_file);
  EXPECT_EQ(log.errors(),
            (Lines{"[missing] CreateFile(RO): " + missing, "[folder] CreateFile(RO): " + folder,
                   "[no/such] CreateFile(REWRITE): " + system_words(qk_test_failure::missing_folder),
                   "[folder] CreateFile(APPEND): " + folder}));
}

TEST(WinFileRaw, RewriteEmptiesAndAppendWritesAtTheEnd) {
  TempDir dir;
  dir.write("f", "old contents");
  WinFileRaw* file = WinFileRaw::open_rewrite("f");
  ASSERT_NE(file, nullptr);
  EXPECT_STREQ(file->vfs_name(), "");
  EXPECT_EQ(file->size(), 0u);
  EXPECT_EQ(file->write("new", 3), 3u);
  file->release();
  EXPECT_EQ(TempDir::read("f"), "new");

  file = WinFileRaw::open_append("f");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->tell(), 3u);
  EXPECT_EQ(file->write("+more", 5), 5u);
  file->release();
  EXPECT_EQ(TempDir::read("f"), "new+more");
}

TEST(WinFileRaw, FailuresOfAnOpenFileAreLoggedInItsForm) {
  TempDir dir;
  WinFileRaw* file = WinFileRaw::open_rewrite("w");
  ASSERT_NE(file, nullptr);
  LogCapture log;
  char out[4];
  EXPECT_EQ(file->read(out, 4), 0u);
  EXPECT_FALSE(file->skip(-100));
  EXPECT_FALSE(file->seek(uint64_t(1) << 63));
  file->release();
  EXPECT_EQ(
      log.errors(),
      (Lines{"[w] ReadFile(4): " + system_words(qk_test_failure::wrong_direction),
             "[w] SetFilePointerEx(-100): " + system_words(qk_test_failure::negative_seek),
             "[w] SetFilePointerEx(-9223372036854775808): " + system_words(qk_error_invalid_argument())}));
}

TEST(WinFileRaw, DriverFormCarriesNamesMetadataAndTheOpenCount) {
  TempDir dir;
  dir.write("real.txt", "abc");
  qk::MetadataMap metadata;
  qk::metadataSetString(metadata, "kind", "texture");
  std::atomic<uint64_t> open_count{0};
  WinFileRaw* file = WinFileRaw::open_for_driver("real.txt", "/pak/real.txt", &metadata, &open_count, false);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(open_count.load(), 1u);
  EXPECT_STREQ(file->vfs_name(), "/pak/real.txt");
  const char* text = nullptr;
  int64_t number = 0;
  EXPECT_TRUE(file->meta_string("kind", text));
  EXPECT_STREQ(text, "texture");
  EXPECT_FALSE(file->meta_integer("kind", number));  // another type
  file->release();
  EXPECT_EQ(open_count.load(), 0u);

  LogCapture log;
  EXPECT_EQ(qk_fs_open_raw("gone", "", nullptr, &open_count), nullptr);
  EXPECT_EQ(WinFileRaw::open_for_driver("gone", "", nullptr, &open_count, false), nullptr);
  EXPECT_EQ(open_count.load(), 0u);
  EXPECT_EQ(log.errors(), Lines{"[gone] CreateFile(RO): " + system_words(qk_error_not_found())});
}

}  // namespace
