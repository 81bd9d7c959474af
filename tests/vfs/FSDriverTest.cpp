// FSDriver: what the walk keeps and skips, case, metadata, and the operations that go back to
// the disk.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "BufferBytes.h"
#include "LogCapture.h"
#include "TempDir.h"
#include "VfsTestSupport.h"
#include "qkvfs/Drivers/FSDriver.h"

namespace {

using qkvfs::FSDriver;
using qkvfs::IDriver;
using Lines = std::vector<std::string>;

struct Destroy {
  void operator()(IDriver* driver) const { driver->destroy(); }
};
using Driver = std::unique_ptr<IDriver, Destroy>;

Driver make(const char* source, const char* mount_point = "/m/") {
  char error[512] = {};
  bool stop = true;
  Driver driver(FSDriver::factory(7, source, source, mount_point, "tag", error, sizeof error, &stop));
  EXPECT_FALSE(stop);
  EXPECT_STREQ(error, "");
  return driver;
}

// "type key path" for every entry, in enumerate's order.
Lines entries(IDriver& driver) {
  Lines seen;
  driver.enumerate(
      [](void* context, uint64_t index, std::string_view key, std::string_view path, uint32_t type) {
        auto& lines = *static_cast<Lines*>(context);
        EXPECT_EQ(index, lines.size());
        lines.push_back(std::to_string(type) + " " + std::string(key) + " " + std::string(path));
      },
      &seen);
  return seen;
}

TEST(FSDriver, FactoryTakesOnlyFolders) {
  TempDir dir;
  put_file("file", "x");
  EXPECT_EQ(make("file"), nullptr);
  EXPECT_EQ(make("missing"), nullptr);
  EXPECT_NE(make(""), nullptr);  // the working directory
}

TEST(FSDriver, WalksDepthFirstSkippingDotNamesAndKeepingCase) {
  TempDir dir;
  put_file("Data/Tex/Rock.DDS", "rock");
  put_file("Data/.hidden/inside", "x");
  put_file("Data/.metadata.json", "{}");
  put_file("Data/.dotfile", "x");
  std::filesystem::create_directories("Data/Empty");
  Driver driver = make("Data");
  ASSERT_NE(driver, nullptr);
  Lines seen = entries(*driver);
  // A folder's own order is the system's: compare the two subtrees as sets, the order within each.
  ASSERT_EQ(seen.size(), 3u);
  const size_t tex = seen[0].find("tex") != std::string::npos ? 0 : 1;
  EXPECT_EQ(seen[tex], "2 /m/tex /m/Tex");
  EXPECT_EQ(seen[tex + 1], "1 /m/tex/rock.dds /m/Tex/Rock.DDS");
  EXPECT_EQ(seen[tex ? 0 : 2], "2 /m/empty /m/Empty");

  const auto& list = static_cast<FSDriver&>(*driver).entries();
  EXPECT_EQ(list[tex + 1].real_path.view(), "Data/Tex/Rock.DDS");  // the user's spelling, opened as such
  qkvfs::IFile* file = driver->open_file(tex + 1);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(bytes_of(file->buffer()), "rock");
  file->release();
}

TEST(FSDriver, ALinkBackUpTheTreeEndsTheWalk) {
  TempDir dir;
  put_file("d/f", "x");
  if (!qk_test_folder_link("..", "d/up"))
    GTEST_SKIP() << "the system makes no folder links here (Wine's are a stub)";
  Driver driver = make("d");
  ASSERT_NE(driver, nullptr);
  // d/up/d/up/... is entered down to the depth limit, and no further.
  const Lines seen = entries(*driver);
  EXPECT_GT(seen.size(), 64u);
  EXPECT_LT(seen.size(), 200u);
}

TEST(FSDriver, InfoAsksTheDiskAnew) {
  TempDir dir;
  put_file("d/f", "123");
  Driver driver = make("d");
  qkvfs::EntryInfo info;
  driver->info(0, info);
  EXPECT_EQ(info.type, 1u);
  EXPECT_EQ(info.size, 3u);
  EXPECT_NE(info.time, 0u);
  put_file("d/f", "1234567");
  driver->info(0, info);
  EXPECT_EQ(info.size, 7u);
  std::filesystem::remove("d/f");
  driver->info(0, info);
  EXPECT_EQ(info.type, 0u);
  EXPECT_EQ(info.size, 0u);
  EXPECT_EQ(info.time, 0u);

  LogCapture log;
  EXPECT_EQ(driver->open_file(0), nullptr);
  EXPECT_EQ(log.errors(), Lines{"[d/f] CreateFile(RO): " + system_words(qk_error_not_found())});
}

TEST(FSDriver, FilesFuturesAndReadersCountAsOpenUntilReleased) {
  TempDir dir;
  put_file("d/sub/f", "payload");
  Driver driver = make("./d/");
  ASSERT_NE(driver, nullptr);
  EXPECT_EQ(driver->open_future(0), nullptr);  // a directory
  EXPECT_EQ(driver->open_reader(0), nullptr);

  qkvfs::IFile* file = driver->open_file(1);
  ASSERT_NE(file, nullptr);
  EXPECT_STREQ(file->vfs_name(), "./d/");  // the driver's source
  qkvfs::IBufFuture* future = driver->open_future(1);
  ASSERT_NE(future, nullptr);
  qk::ReaderPtr<> reader = driver->open_reader(1);
  ASSERT_NE(reader, nullptr);
  EXPECT_TRUE(driver->has_open_files());

  char bytes[16] = {};
  EXPECT_EQ(reader->read(bytes, sizeof bytes), 7u);
  EXPECT_STREQ(bytes, "payload");
  EXPECT_EQ(bytes_of(future->get(nullptr)), "payload");
  future->release();
  file->release();
  EXPECT_TRUE(driver->has_open_files());
  reader.reset();
  EXPECT_FALSE(driver->has_open_files());
}

TEST(FSDriver, MetadataIsKeyedByRealPathAndABrokenFileKeepsWhatCameFirst) {
  TempDir dir;
  put_file("Pack/a.dds", "a");
  put_file("Pack/b.dds", "b");
  put_file("Pack/.metadata.json", R"({
    "Pack/a.dds": { "lod": { "type": "int", "value": 3 }, "on": { "type": "bool", "value": true } },
    "pack/b.dds": { "lod": { "type": "int", "value": 4 } },
    "Pack/b.dds": { "x": { "type": "string", "value": "kept" }, "y": { "type": "int", "value": 1.5 } } })");
  LogCapture log;
  Driver driver = make("Pack");
  EXPECT_EQ(log.errors(), Lines{"Can't read metadata for driver Pack"});
  auto& fs = static_cast<FSDriver&>(*driver);
  const size_t a = fs.entries()[0].real_path.view() == "Pack/a.dds" ? 0 : 1;
  ASSERT_NE(fs.metadata_of(a), nullptr);
  EXPECT_EQ(fs.metadata_of(a)->size(), 1u);  // "bool" stored nothing
  const char* text = nullptr;
  EXPECT_TRUE(qk::metadataGetString(fs.metadata_of(1 - a), "x", text));  // "pack/b.dds" didn't match
  EXPECT_EQ(fs.metadata_of(1 - a)->size(), 1u);

  qkvfs::IFile* file = driver->open_file(a);
  int64_t lod = 0;
  EXPECT_TRUE(file->meta_integer("lod", lod));
  EXPECT_EQ(lod, 3);
  file->release();
}

}  // namespace
