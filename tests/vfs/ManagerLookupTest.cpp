// The Manager's look-ups: stat, opens, whole reads and their lines, listings with the sibling
// rule, and the tables' hash and slots.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "BufferBytes.h"
#include "LogCapture.h"
#include "TempDir.h"
#include "VfsTestSupport.h"
#include "qkvfs/Manager.h"
#include "qkvfs/PathTables.h"

namespace {

using qkvfs::Manager;
using Lines = std::vector<std::string>;

// A folder "d" mounted at /m: Tex/Rock.DDS, Texts/a.txt, top.txt; and the directory /m/tex2.
class ManagerLookup : public ::testing::Test {
 protected:
  void SetUp() override {
    put_file("d/Tex/Rock.DDS", "rock");
    put_file("d/Texts/a.txt", "a");
    put_file("d/top.txt", "top");
    std::filesystem::create_directories("d/Tex2");
    ASSERT_NE(vfs.mount("d", "/m", false, nullptr, false), qkvfs::kMountFailed);
  }

  // "type name" of each listed entry, sorted, since the maps' order is unspecified.
  Lines listed(const char* path) {
    Lines seen;
    vfs.list_dir(
        path,
        [](void* context, std::string_view directory, std::string_view name, uint32_t type) {
          EXPECT_FALSE(directory.empty());
          static_cast<Lines*>(context)->push_back(std::to_string(type) + " " + std::string(name));
        },
        &seen);
    std::sort(seen.begin(), seen.end());
    return seen;
  }

  TempDir dir;
  Manager vfs;
};

TEST(ManagerEmpty, FindsNothingVirtualAndReadsRealPaths) {
  TempDir dir;
  put_file("real.txt", "real");
  Manager vfs;
  EXPECT_FALSE(vfs.exists("/a"));
  LogCapture log;
  EXPECT_EQ(vfs.read_file("/a", false), nullptr);
  EXPECT_EQ(log.errors(), Lines{"Can't open file: /a"});
  EXPECT_EQ(bytes_of(vfs.read_file("real.txt", false)), "real");
}

TEST_F(ManagerLookup, StatTellsFilesAndDirectories) {
  qkvfs::EntryInfo info;
  EXPECT_TRUE(vfs.stat("/M/tex/rock.dds", info));
  EXPECT_EQ(info.type, 1u);
  EXPECT_EQ(info.size, 4u);
  EXPECT_NE(info.time, 0u);
  info.size = 99;
  EXPECT_TRUE(vfs.stat("/m/tex", info));
  EXPECT_EQ(info.type, 2u);
  EXPECT_EQ(info.size, 0u);
  EXPECT_EQ(info.time, 0u);
  EXPECT_FALSE(vfs.stat("/m/none", info));
  EXPECT_EQ(info.type, 0u);
}

TEST_F(ManagerLookup, OpensOnlyForReadingWithTheirLines) {
  LogCapture log;
  EXPECT_EQ(vfs.open_file("/m/top.txt", 1, false), nullptr);
  EXPECT_EQ(vfs.open_file("/M/None.txt", 0, false), nullptr);
  EXPECT_EQ(vfs.open_file("/m/none.txt", 0, true), nullptr);
  EXPECT_FALSE(vfs.open_for_write("/m/top.txt", 0, 0, false));
  EXPECT_EQ(vfs.open_reader("/m/none", false), nullptr);
  EXPECT_EQ(vfs.open_reader("none", false), nullptr);
  EXPECT_EQ(
      log.errors(),
      (Lines{"Can't open file not for writing: /m/top.txt. VFS supports only open for reading.",
             "Can't open file: /m/none.txt.", "Trying to open /m/top.txt on ro vfs.",
             "Can't open file: /m/none.", "[none] CreateFile(RO): " + system_words(qk_error_not_found()),
             "Can't open file 'none' from real path fs.", "Can't open file: none"}));

  qkvfs::IFile* file = vfs.open_file("/m/TOP.TXT", 0, false);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(bytes_of(file->buffer()), "top");
  file->release();
  for (const char* path : {"/m/tex/rock.dds", "d/Tex/Rock.DDS"}) {
    qk::ReaderPtr<> reader = vfs.open_reader(path, false);
    ASSERT_NE(reader, nullptr) << path;
    char bytes[8] = {};
    EXPECT_EQ(reader->read(bytes, sizeof bytes), 4u);
    EXPECT_STREQ(bytes, "rock");
  }
}

TEST_F(ManagerLookup, ReadIntoRefillsTheCallersBuffer) {
  qk::RefPtr<qk::MemBuffer> buffer = qk::MemBuffer::create(100);
  qk::MemBuffer* const same = buffer.get();
  EXPECT_EQ(vfs.read_into("/m/texts/A.TXT", buffer, false), 1);
  EXPECT_EQ(buffer.get(), same);
  EXPECT_EQ(bytes_of(qk::RefPtr<qk::IBuffer>(buffer)), "a");

  LogCapture log;
  EXPECT_EQ(vfs.read_into("/m/none", buffer, false), 0);
  EXPECT_EQ(buffer->size(), 0u);
  qk::RefPtr<qk::MemBuffer> none;
  EXPECT_EQ(vfs.read_into("/m/top.txt", none, true), 0);
  EXPECT_EQ(log.errors(), (Lines{"Can't open file: /m/none.", "Input buffer is empty. File: /m/top.txt"}));
}

TEST_F(ManagerLookup, AFileGoneFromDiskFailsToReadWithBothLines) {
  std::filesystem::remove("d/top.txt");
  EXPECT_TRUE(vfs.exists("/m/top.txt"));  // the table isn't watched
  LogCapture log;
  EXPECT_EQ(vfs.read_file("/m/top.txt", false), nullptr);
  EXPECT_EQ(log.errors(), (Lines{"Can't open file: /m/top.txt.", "Can't open file: /m/top.txt"}));
}

TEST_F(ManagerLookup, ListsFilesByKeyAndDirectoriesWithTheirCase) {
  EXPECT_EQ(listed("/M"), (Lines{"1 top.txt", "2 Tex", "2 Tex2", "2 Texts"}));
  EXPECT_EQ(listed("/m/tex/"), (Lines{"1 rock.dds", "2 Tex2", "2 Texts"}));  // siblings that begin alike
  EXPECT_EQ(listed("/"), Lines{"2 m"});
  EXPECT_EQ(listed("/nothing"), Lines{});
  EXPECT_THROW(listed("/m/.."), std::out_of_range);
}

TEST_F(ManagerLookup, ListNamesAndEntriesFilterAndJoin) {
  Lines names = vfs.list_names(
      "/m", [](std::string_view name) { return name != "Tex2"; }, false);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (Lines{"/m/Tex", "/m/Texts", "/m/top.txt"}));

  std::vector<qkvfs::ListEntry> entries = vfs.list_entries(
      "d/Tex", [](std::string_view, uint32_t type) { return type == 1; }, true);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].name, "Rock.DDS");
  EXPECT_EQ(entries[0].type, 1u);
  EXPECT_EQ(vfs.list_names("d/Tex", nullptr, false), Lines{"d/Tex/Rock.DDS"});
}

TEST(PathTables, HashIsFnv1aFoldedThroughA128BitProduct) {
  EXPECT_EQ(qkvfs::qk_vfs_key_hash(""), 0xb9b4d6022d65780full);
  EXPECT_EQ(qkvfs::qk_vfs_key_hash("/textures/rock.dds"), 0x0b4bfe78e9fa42c8ull);
}

TEST(PathTables, SlotsGrowByTwoPointEightAndComeBackWhenEmptied) {
  qkvfs::PathTables tables;
  auto* driver = reinterpret_cast<qkvfs::IDriver*>(&tables);  // never called, only compared
  for (uint32_t i = 0; i <= qkvfs::PathTables::kFirstSlots; ++i)
    tables.add_holder("/f" + std::to_string(i), qkvfs::Holder{i, driver}, true);
  EXPECT_EQ(tables.slot_count(), 11468u);
  EXPECT_EQ(tables.free_slot_count(), 11468u - 4097u);
  tables.add_holder("/f0", qkvfs::Holder{9, nullptr}, false);
  ASSERT_EQ(tables.holders("/f0")->size(), 2u);
  EXPECT_EQ(tables.holders("/f0")->front().entry, 9u);
  tables.remove_holders("/f1", driver);
  EXPECT_EQ(tables.holders("/f1"), nullptr);
  EXPECT_EQ(tables.free_slot_count(), 11468u - 4096u);
  tables.remove_holders("/f0", driver);
  EXPECT_EQ(tables.holders("/f0")->size(), 1u);
}

TEST(KeyMap, KeepsEveryKeyThroughGrowthRemovalAndReuse) {
  qkvfs::KeyMap<std::string> map(4);
  for (int i = 0; i < 5000; ++i) EXPECT_TRUE(map.insert("/k" + std::to_string(i), std::to_string(i)).second);
  EXPECT_FALSE(map.insert("/k7", "again").second);
  EXPECT_EQ(*map.find("/k7"), "7");  // a known key keeps its value
  for (int i = 0; i < 5000; i += 2) EXPECT_TRUE(map.erase("/k" + std::to_string(i)));
  EXPECT_FALSE(map.erase("/k0"));
  // Removed slots fill up again and make the array compact itself; nothing is lost on the way.
  for (int round = 0; round < 4; ++round)
    for (int i = 0; i < 5000; i += 2) {
      const std::string key = "/r" + std::to_string(round) + "/" + std::to_string(i);
      map.insert(key, key);
      map.erase(key);
    }
  EXPECT_EQ(map.size(), 2500u);
  size_t seen = 0;
  map.for_each([&](std::string_view key, const std::string& value) {
    EXPECT_EQ(key, "/k" + value);
    ++seen;
  });
  EXPECT_EQ(seen, 2500u);
  EXPECT_EQ(map.find("/k4"), nullptr);
  ASSERT_NE(map.find("/k4999"), nullptr);
  EXPECT_EQ(*map.find("/k4999"), "4999");
  EXPECT_EQ(map.find(""), nullptr);
}

}  // namespace
