// ZDriver: zip files of real tools, the refusals of the subset, the ZIP64 walk, methods, times,
// metadata, and the factory's ".zip" retry and stop.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <filesystem>

#include "ArchiveTestSupport.h"
#include "BufferBytes.h"
#include "LogCapture.h"
#include "TempDir.h"
#include "qkvfs/Drivers/ZDriver.h"
#include "qkvfs/Manager.h"

namespace {

using qkvfs::ZDriver;
namespace fs = std::filesystem;

constexpr uint64_t kStamp = 1623760244;  // 2021-06-15 12:30:44, as every test zip stamps its entries

uint32_t crc_of(const std::string& bytes) {
  return uint32_t(crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), uInt(bytes.size())));
}

// Every file read whole and as a stream, by name; directories by name with "/".
std::vector<std::string> contents(qkvfs::IDriver& driver) {
  std::vector<std::string> seen;
  const std::vector<std::string> lines = entry_lines(driver);
  for (uint64_t i = 0; i < lines.size(); ++i) {
    const std::string path = lines[i].substr(lines[i].rfind(' ') + 1);
    if (lines[i][0] == '2') {
      EXPECT_EQ(driver.open_file(i), nullptr);
      seen.push_back(path + "/");
      continue;
    }
    const std::optional<std::string> whole = read_whole(driver, i);
    EXPECT_TRUE(whole) << path;
    EXPECT_EQ(read_stream(driver, i), whole.value_or("")) << path;
    qkvfs::EntryInfo info;
    driver.info(i, info);
    EXPECT_EQ(info.size, whole.value_or("").size());
    EXPECT_EQ(info.time, kStamp + crc_of(whole.value_or(""))) << path;
    seen.push_back(path + "=" + std::to_string(whole.value_or("").size()));
  }
  std::sort(seen.begin(), seen.end());
  return seen;
}

TEST(ZDriver, ReadsTheZipFilesOfRealTools) {
  const std::vector<std::string> python = {"/m/Top.TXT=" + std::to_string(archive_text().size()), "/m/dir/",
                                           "/m/dir/a.txt=6", "/m/empty.bin=0"};
  const std::vector<std::string> info_zip = {"/m/Sub/", "/m/Sub/b.txt=5",
                                             "/m/Text.txt=" + std::to_string(archive_text().size())};
  const std::pair<const char*, const std::vector<std::string>*> cases[] = {
      {"python-stored.zip", &python},    {"python-deflated.zip", &python},
      {"infozip-stored.zip", &info_zip}, {"infozip-deflated.zip", &info_zip},
      {"infozip-zip64.zip", &info_zip},
  };
  for (const auto& [name, expected] : cases) {
    Made made = make_driver(&ZDriver::factory, good_archive(name));
    ASSERT_NE(made.driver, nullptr) << name << ": " << made.error;
    EXPECT_TRUE(made.stop);
    EXPECT_STREQ(made.driver->name(), "ZipDriver");
    EXPECT_EQ(made.driver->describe(), "ZDriver::no info");
    EXPECT_EQ(contents(*made.driver), *expected) << name;
  }
  Made made = make_driver(&ZDriver::factory, good_archive("python-deflated.zip"));
  EXPECT_EQ(read_whole(*made.driver, entry_index(*made.driver, "/m/Top.TXT")), archive_text());
}

TEST(ZDriver, RefusesWhatLiesOutsideItsSubset) {
  const std::pair<const char*, const char*> cases[] = {
      {"python-comment.zip", "Invalid EndOfCentralDirectoryRecord."},
      {"infozip-comment.zip", "Invalid EndOfCentralDirectoryRecord."},
      {"comment-crafted.zip", "Invalid EndOfCentralDirectoryRecord."},
      {"python-empty.zip", "Invalid EndOfCentralDirectoryRecord."},
      {"short.zip", "Invalid EndOfCentralDirectoryRecord."},
      {"not-pk.zip", "Invalid zip signature."},
      {"all-ones-32bit.zip", "Invalid EndOfCentralDirectoryLocator64."},
      {"zip64-no-record.zip", "Invalid EndOfCentralDirectoryRecord64."},
      {"zip64-no-extra.zip", "Extra fields missing 64 bit file record."},
      {"bad-central.zip", "Invalid CentralDirectoryFileHeader."},
  };
  for (const auto& [name, reason] : cases) {
    Made made = make_driver(&ZDriver::factory, bad_archive(name));
    EXPECT_EQ(made.driver, nullptr) << name;
    EXPECT_FALSE(made.stop) << name;
    EXPECT_EQ(made.error,
              "ZipDriver: Failed to open zip archive " + bad_archive(name) + ". Reason: " + reason);
  }
  // A bad local header ends the parse with a line and no reason for the mount.
  LogCapture log;
  Made local = make_driver(&ZDriver::factory, bad_archive("bad-local.zip"));
  EXPECT_EQ(local.driver, nullptr);
  EXPECT_EQ(local.error, "");
  EXPECT_EQ(log.errors(), std::vector<std::string>{"Invalid local file header: a.txt"});
}

TEST(ZDriver, Zip64RecordIsFoundByAWalkInStepsOfFourBytes) {
  Made made = make_driver(&ZDriver::factory, good_archive("zip64-walk.zip"));
  ASSERT_NE(made.driver, nullptr) << made.error;
  EXPECT_EQ(entry_lines(*made.driver),
            (std::vector<std::string>{"1 /m/big.txt /m/big.txt", "2 /m/folder /m/folder"}));
  EXPECT_EQ(read_whole(*made.driver, 0), "alpha alpha alpha alpha\n");
}

TEST(ZDriver, MethodNineInflatesAndOtherMethodsFailOnRead) {
  Made made = make_driver(&ZDriver::factory, good_archive("methods.zip"));
  ASSERT_NE(made.driver, nullptr);
  EXPECT_EQ(read_whole(*made.driver, 0), "alpha alpha alpha alpha\n");
  EXPECT_EQ(read_stream(*made.driver, 0), "alpha alpha alpha alpha\n");
  LogCapture log;
  qkvfs::IFile* shrunk = made.driver->open_file(1);
  ASSERT_NE(shrunk, nullptr);  // opens; only the read fails
  char byte;
  EXPECT_EQ(shrunk->read(&byte, 1), 0u);
  shrunk->release();
  EXPECT_EQ(made.driver->open_reader(1), nullptr);
  EXPECT_EQ(log.errors(), std::vector<std::string>{"Decompress error: -2, file: shrunk.bin"});
}

TEST(ZDriver, CutDeflateDataFailsWithInflatesCode) {
  Made made = make_driver(&ZDriver::factory, bad_archive("cut-deflate.zip"));
  ASSERT_NE(made.driver, nullptr);
  LogCapture log;
  EXPECT_EQ(read_whole(*made.driver, 0), std::nullopt);
  EXPECT_EQ(log.errors(), std::vector<std::string>{"Decompress error: -5, file: cut.txt"});
  // The stream ends quietly where its input does, short of the entry's size.
  EXPECT_LT(read_stream(*made.driver, 0).size(), archive_text().size());
}

TEST(ZDriver, TimeIsTheStampPlusTheCrc) {
  Made made = make_driver(&ZDriver::factory, good_archive("crc-stamps.zip"));
  ASSERT_NE(made.driver, nullptr);
  qkvfs::EntryInfo one, two;
  made.driver->info(0, one);
  made.driver->info(1, two);
  EXPECT_EQ(one.time, kStamp + 1);
  EXPECT_EQ(two.time, kStamp + 2);
}

TEST(ZDriver, MetadataJsonInsideTheZipIsReadAndNotListed) {
  Made made = make_driver(&ZDriver::factory, good_archive("python-metadata.zip"));
  ASSERT_NE(made.driver, nullptr);
  EXPECT_EQ(entry_lines(*made.driver), std::vector<std::string>{"1 /m/dir/a.txt /m/dir/a.txt"});
  qkvfs::IFile* file = made.driver->open_file(0);
  ASSERT_NE(file, nullptr);
  int64_t lod = 0;
  const char* kind = nullptr;
  EXPECT_TRUE(file->meta_integer("lod", lod));
  EXPECT_EQ(lod, 3);
  EXPECT_TRUE(file->meta_string("kind", kind));
  EXPECT_STREQ(kind, "stone");
  EXPECT_STREQ(file->vfs_name(), made.driver->source.c_str());
  file->release();
}

TEST(ZDriver, ASourceFindsItsZipAndAZipEndsTheFactoryChain) {
  TempDir dir;
  fs::create_directories("data/pack");
  dir.write("data/pack/folder.txt", "folder");
  fs::copy_file(good_archive("python-stored.zip"), "data/pack.zip");
  fs::copy_file(good_archive("sample.qkpk"), "data/pack.qkpk");

  Made made = make_driver(&ZDriver::factory, "data/pack");
  ASSERT_NE(made.driver, nullptr);
  EXPECT_EQ(made.driver->source, "data/pack.zip");
  EXPECT_TRUE(made.stop);
  EXPECT_EQ(make_driver(&ZDriver::factory, "data/nothing").error, "");

  qkvfs::Manager vfs;
  ASSERT_NE(vfs.mount("data/pack", "/", false, nullptr, false), qkvfs::kMountFailed);
  std::vector<std::string> kinds;
  vfs.for_each_driver(
      [](qkvfs::IDriver* driver, void* context) {
        static_cast<std::vector<std::string>*>(context)->push_back(driver->name());
      },
      &kinds);
  // The folder first, then the zip; the archive of the same name isn't tried after the zip.
  EXPECT_EQ(kinds, (std::vector<std::string>{"FSDriver", "ZipDriver"}));
  EXPECT_EQ(bytes_of(vfs.read_file("/dir/a.txt", false)), "alpha\n");
  EXPECT_FALSE(vfs.exists("/readme.txt"));
}

}  // namespace
