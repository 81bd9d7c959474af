// QKPKDriver: the factory's rules, numbering and listing, the entry objects, the 1 MiB rule,
// failing entries, and mounting through the Manager beside folders and zip files.
#include <gtest/gtest.h>

#include <filesystem>

#include "ArchiveTestSupport.h"
#include "BufferBytes.h"
#include "LogCapture.h"
#include "TempDir.h"
#include "qk/BufferReader.h"
#include "qk/ReadError.h"
#include "qkvfs/Drivers/QKPKDriver.h"
#include "qkvfs/Manager.h"

namespace {

using qkvfs::QKPKDriver;
namespace fs = std::filesystem;

TEST(QKPKDriver, FactoryFindsTheArchiveByItsNameAndNeverStopsTheChain) {
  TempDir dir;
  fs::copy_file(good_archive("sample.qkpk"), "pack.qkpk");
  fs::copy_file(bad_archive("version-2.qkpk"), "old.qkpk");

  for (const char* source : {"pack", "pack.qkpk", "./pack"}) {
    Made made = make_driver(&QKPKDriver::factory, source);
    ASSERT_NE(made.driver, nullptr) << source;
    EXPECT_FALSE(made.stop);
    EXPECT_EQ(made.driver->source, "pack.qkpk");
    EXPECT_STREQ(made.driver->name(), "QKPKDriver");
    EXPECT_EQ(made.driver->describe(), "");
  }
  Made missing = make_driver(&QKPKDriver::factory, "missing");
  EXPECT_EQ(missing.driver, nullptr);
  EXPECT_EQ(missing.error, "");
  EXPECT_FALSE(missing.stop);
  Made old = make_driver(&QKPKDriver::factory, "old");
  EXPECT_EQ(old.driver, nullptr);
  EXPECT_EQ(old.error, "QKPKDriver: Failed to open qkpk archive old.qkpk. Reason: archive is broken.");
}

TEST(QKPKDriver, NumbersFilesFirstAndListsLowerCaseKeys) {
  Made made = make_driver(&QKPKDriver::factory, good_archive("sample.qkpk"));
  ASSERT_NE(made.driver, nullptr);
  const std::vector<std::string> lines = entry_lines(*made.driver);
  ASSERT_EQ(lines.size(), 9u);
  EXPECT_EQ(lines[0], "1 /m/textures/stone/rock.dds /m/textures/stone/rock.dds");
  EXPECT_EQ(lines[8], "2 /m/textures/stone /m/textures/stone");

  qkvfs::EntryInfo info;
  made.driver->info(0, info);
  EXPECT_EQ(info.type, 1u);
  EXPECT_EQ(info.size, archive_text().size());
  EXPECT_EQ(info.time, 1623760244u);
  made.driver->info(8, info);
  EXPECT_EQ(info.type, 2u);
  EXPECT_EQ(info.size, 0u);
  EXPECT_EQ(info.time, 2222u);
  // Directories have no data: every entry operation refuses them.
  EXPECT_EQ(made.driver->open_file(8), nullptr);
  EXPECT_EQ(made.driver->open_future(8), nullptr);
  EXPECT_EQ(made.driver->open_reader(8), nullptr);
  EXPECT_FALSE(made.driver->has_open_files());
}

TEST(QKPKDriver, FilesReadSeekSkipAndAnswerTheirMetadata) {
  Made made = make_driver(&QKPKDriver::factory, good_archive("sample.qkpk"));
  ASSERT_NE(made.driver, nullptr);
  qkvfs::IFile* rock = made.driver->open_file(0);
  ASSERT_NE(rock, nullptr);
  EXPECT_TRUE(made.driver->has_open_files());
  EXPECT_STREQ(rock->name(), "/m/Textures/Stone/Rock.DDS");
  EXPECT_EQ(std::string(rock->vfs_name(), 23), "Textures/Stone/Rock.DDS");
  EXPECT_EQ(rock->size(), archive_text().size());
  char part[10];
  ASSERT_EQ(rock->read(part, 5), 5u);
  EXPECT_EQ(std::string(part, 5), "00000");
  EXPECT_TRUE(rock->skip(int64_t(archive_text().size()) - 10));
  EXPECT_FALSE(rock->skip(6));
  EXPECT_EQ(rock->read(part, 10), 5u);  // the last five bytes
  EXPECT_EQ(std::string(part, 5), "ecal\n");
  EXPECT_FALSE(rock->seek(archive_text().size() + 1));
  EXPECT_TRUE(rock->seek(archive_text().size()));
  EXPECT_EQ(rock->read(part, 10), 0u);
  EXPECT_EQ(rock->write("x", 1), 0u);
  const char* kind = nullptr;
  int64_t lod = 0;
  double gloss = 0;
  EXPECT_TRUE(rock->meta_string("kind", kind));
  EXPECT_FALSE(rock->meta_float("kind", gloss));  // a value of another type
  EXPECT_TRUE(rock->meta_integer("lod", lod));
  rock->release();
  EXPECT_FALSE(made.driver->has_open_files());

  qkvfs::IFile* empty = made.driver->open_file(2);
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(empty->read(part, 10), 0u);
  const qk::RefPtr<qk::IBuffer> nothing = empty->buffer();
  ASSERT_NE(nothing, nullptr);
  EXPECT_EQ(nothing->size(), 0u);
  EXPECT_FALSE(empty->meta_string("kind", kind));
  EXPECT_FALSE(empty->meta_float("gloss", gloss));
  EXPECT_FALSE(empty->meta_integer("lod", lod));
  empty->release();

  EXPECT_EQ(read_stream(*made.driver, 0), archive_text());
  EXPECT_EQ(read_whole(*made.driver, 1), "plain bytes\n");
  qkvfs::IBufFuture* future = made.driver->open_future(0);
  ASSERT_NE(future, nullptr);
  qk::RefPtr<qk::MemBuffer> reused = qk::MemBuffer::create(3);
  const qk::MemBuffer* given = reused.get();
  const qk::RefPtr<qk::IBuffer> got = future->get(&reused);
  future->release();
  EXPECT_EQ(got.get(), given);  // the caller's buffer took the content
  EXPECT_EQ(bytes_of(got), archive_text());
}

TEST(QKPKDriver, EntriesAboveOneMebibyteAreAlwaysStreamedAsZstd) {
  Made made = make_driver(&QKPKDriver::factory, good_archive("mebibyte.qkpk"));
  ASSERT_NE(made.driver, nullptr);
  std::string mib;
  for (int i = 0; i < 0x100000; ++i) mib.push_back(char(i & 0xFF));

  qk::ReaderPtr<> exact = made.driver->open_reader(0);
  EXPECT_NE(dynamic_cast<qk::BufferReader*>(exact.get()), nullptr);  // read whole first
  EXPECT_EQ(read_stream(*made.driver, 0), mib);
  qk::ReaderPtr<> over = made.driver->open_reader(1);
  EXPECT_EQ(dynamic_cast<qk::BufferReader*>(over.get()), nullptr);
  EXPECT_STREQ(over->name(), "/m/over.bin");
  EXPECT_EQ(read_stream(*made.driver, 1, 100000), mib + "!");

  // A stored entry above 1 MiB reads whole, but its stream takes it for a zstd frame.
  EXPECT_EQ(read_whole(*made.driver, 2), mib + "!");
  qk::ReaderPtr<> stored = made.driver->open_reader(2);
  char byte;
  EXPECT_THROW(stored->read(&byte, 1), qk::ZstdError);
}

TEST(QKPKDriver, BrokenEntriesAreNullWithTheirMessages) {
  Made made = make_driver(&QKPKDriver::factory, bad_archive("entries.qkpk"));
  ASSERT_NE(made.driver, nullptr);
  LogCapture log;
  // huge.bin (4) claims a terabyte in a small file: refused quietly, with nothing allocated.
  for (uint64_t i = 0; i < 5; ++i) EXPECT_EQ(read_whole(*made.driver, i), std::nullopt) << i;
  EXPECT_EQ(made.driver->open_reader(0), nullptr);  // small entries are read whole
  const std::vector<std::string> errors = log.errors();
  ASSERT_EQ(errors.size(), 5u);
  EXPECT_EQ(errors[0], "Can't extract file /m/no-size.txt.");
  EXPECT_EQ(errors[1], "Can't extract file /m/wrong-size.txt.");
  EXPECT_EQ(errors[2], "Can't decompress file /m/corrupt.txt.");
  EXPECT_NE(errors[3].find("GetOverlappedResult(100): End of file"), std::string::npos) << errors[3];
  EXPECT_EQ(errors[4], "Can't extract file /m/no-size.txt.");
}

TEST(QKPKDriver, MountsBesideAFolderAndAfterTheZipFactorysRefusal) {
  TempDir dir;
  fs::create_directories("data/pack");
  dir.write("data/pack/folder.txt", "folder");
  fs::copy_file(good_archive("sample.qkpk"), "data/pack.qkpk");

  qkvfs::Manager vfs;
  ASSERT_NE(vfs.mount("data/pack", "/", false, nullptr, false), qkvfs::kMountFailed);
  EXPECT_TRUE(vfs.exists("/folder.txt"));
  EXPECT_EQ(bytes_of(vfs.read_file("/readme.txt", false)), "plain bytes\n");
  std::vector<std::string> sources;
  vfs.for_each_mount(
      [](const char*, const char* source, void* context) {
        static_cast<std::vector<std::string>*>(context)->push_back(source);
      },
      &sources);
  // The archive, registered last, wins over the folder it came with.
  EXPECT_EQ(sources, (std::vector<std::string>{"data/pack", "data/pack.qkpk"}));

  // Named with its extension, the archive is found by the zip factory first, which refuses it.
  qkvfs::Manager named;
  LogCapture log;
  ASSERT_NE(named.mount("data/pack.qkpk", "/", false, nullptr, true), qkvfs::kMountFailed);
  EXPECT_EQ(log.errors(),
            (std::vector<std::string>{
                "Drivers errors while mounting data/pack.qkpk:",
                "\tZipDriver: Failed to open zip archive data/pack.qkpk. Reason: Invalid zip signature."}));
}

}  // namespace
