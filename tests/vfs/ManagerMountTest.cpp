// The Manager's mounts: mount points, priority, repeated mounts and their counts, factories and
// the filter, unmounting with open files, directories after unmount, remount.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "BufferBytes.h"
#include "LogCapture.h"
#include "TempDir.h"
#include "VfsTestSupport.h"
#include "qkvfs/Manager.h"

namespace {

using qkvfs::kMountFailed;
using qkvfs::Manager;
using Lines = std::vector<std::string>;

std::string read(Manager& vfs, const char* path) {
  const qk::RefPtr<qk::IBuffer> bytes = vfs.read_file(path, true);
  return bytes ? bytes_of(bytes) : "<none>";
}

Lines sources(Manager& vfs, const char* path) {
  Lines seen;
  vfs.for_each_source(
      path, [](const char* source, void* context) { static_cast<Lines*>(context)->push_back(source); },
      &seen);
  return seen;
}

TEST(ManagerMount, InvalidMountPointsFailUnlessSilentWithALine) {
  TempDir dir;
  put_file("d/x", "x");
  Manager vfs;
  LogCapture log;
  EXPECT_EQ(vfs.mount("d", "a", false, nullptr, false), kMountFailed);
  EXPECT_EQ(vfs.mount("d", "", false, nullptr, false), kMountFailed);
  EXPECT_EQ(vfs.mount("d", "a", false, nullptr, true), kMountFailed);
  EXPECT_EQ(log.errors(), (Lines{"Invalid mount point a.", "Invalid mount point ."}));
  EXPECT_THROW(
      try { vfs.mount("d", "/a/..", false, nullptr, false); } catch (const std::out_of_range& e) {
        EXPECT_STREQ(e.what(), "Expected !empty()");
        throw;
      },
      std::out_of_range);
}

TEST(ManagerMount, AMountIsLoggedAndItsPointNormalised) {
  TempDir dir;
  put_file("Data/Sub/F.txt", "f");
  Manager vfs;
  LogCapture log;
  const uint64_t id = vfs.mount("./Data/", "/Game\\Assets", false, "base", false);
  EXPECT_NE(id, kMountFailed);
  EXPECT_EQ(log.lines(), Lines{"DEBUG Mounted: ./Data/ into: /Game\\Assets with tag: base"});
  EXPECT_EQ(vfs.sources_of_mount("/game/assets/"), Lines{"Data"});
  EXPECT_EQ(read(vfs, "/GAME/assets/sub/f.TXT"), "f");
  EXPECT_TRUE(vfs.exists("/game"));
  EXPECT_TRUE(vfs.exists("/game/assets/sub"));
}

TEST(ManagerMount, LaterMountsWinUnlessAppended) {
  TempDir dir;
  put_file("one/x", "1");
  put_file("two/x", "2");
  put_file("three/x", "3");
  Manager vfs;
  vfs.mount("one", "/d", false, nullptr, false);
  vfs.mount("two", "/d", false, nullptr, false);
  EXPECT_EQ(read(vfs, "/d/x"), "2");
  EXPECT_EQ(vfs.count_copies("/d/x"), 2u);
  vfs.mount("three", "/d", true, nullptr, false);
  EXPECT_EQ(read(vfs, "/d/x"), "2");
  EXPECT_EQ(sources(vfs, "/d/x"), (Lines{"two", "one", "three"}));
  Lines mounts;
  vfs.for_each_mount(
      [](const char* point, const char* source, void* context) {
        static_cast<Lines*>(context)->push_back(std::string(point) + "=" + source);
      },
      &mounts);
  EXPECT_EQ(mounts, (Lines{"/d/=two", "/d/=one", "/d/=three"}));

  std::vector<std::string> copies;
  vfs.for_each_copy(
      "/d/x", [&](const qk::RefPtr<qk::IBuffer>& bytes) { copies.push_back(bytes_of(bytes)); }, false);
  EXPECT_EQ(copies, (Lines{"2", "1", "3"}));
}

TEST(ManagerMount, RepeatedMountsCountAndUnmountCountsDown) {
  TempDir dir;
  put_file("d/x", "x");
  Manager vfs;
  const uint64_t id = vfs.mount("d", "/m", false, nullptr, false);
  LogCapture log;
  EXPECT_EQ(vfs.mount("./D/", "/M/", false, nullptr, false), id);  // the same source, folded
  EXPECT_FALSE(vfs.unmount(id));
  EXPECT_TRUE(vfs.exists("/m/x"));
  EXPECT_TRUE(vfs.unmount(id));
  EXPECT_FALSE(vfs.exists("/m/x"));
  EXPECT_FALSE(vfs.unmount(id));
  EXPECT_EQ(log.lines(), (Lines{"WARNING Source d is already mounted to the same mount /M/.",
                                "WARNING Driver FSDriver:d() mount count: 1.",
                                "ERROR Can't unmount drivers. Reason: Can't found drivers with given id == " +
                                    std::to_string(id),
                                "DEBUG Unmounted source: d, tag: , driver: FSDriver.",
                                "ERROR Can't unmount drivers. Reason: Can't found drivers with given id == " +
                                    std::to_string(id)}));
}

TEST(ManagerMount, CaseIsKeptForTheDiskAndFoldedForKeys) {
  TempDir dir;
  put_file("Data/Textures/Rock.dds", "rock");
  Manager vfs;
  EXPECT_NE(vfs.mount("Data/Textures", "/t", false, nullptr, false), kMountFailed);
  EXPECT_EQ(read(vfs, "/T/ROCK.DDS"), "rock");
  // The disk decides whether another spelling names the folder: not on a case-sensitive one;
  // Windows' names ignore case, and the folder mounts a second time.
  const bool disk_folds = std::filesystem::is_directory("data/textures");
  LogCapture log;
  if (disk_folds) {
    EXPECT_NE(vfs.mount("data/textures", "/u", false, nullptr, false), kMountFailed);
    EXPECT_EQ(read(vfs, "/u/rock.dds"), "rock");
    EXPECT_EQ(log.errors(), Lines{});
  } else {
    EXPECT_EQ(vfs.mount("data/textures", "/u", false, nullptr, false), kMountFailed);
    EXPECT_EQ(log.errors(), Lines{"No suitable driver found to mount data/textures"});
  }
  EXPECT_TRUE(vfs.unmount_by_source("DATA/TEXTURES"));
  EXPECT_FALSE(vfs.exists("/t/rock.dds"));
}

TEST(ManagerMount, AfterTheLastUnmountDirectoriesStayAndFilesGo) {
  TempDir dir;
  put_file("d/sub/x", "x");
  Manager vfs;
  const uint64_t id = vfs.mount("d", "/m", false, "t", false);
  EXPECT_TRUE(vfs.unmount(id));
  EXPECT_TRUE(vfs.exists("/m/sub"));
  EXPECT_FALSE(vfs.exists("/m/sub/x"));
  qkvfs::EntryInfo info;
  EXPECT_TRUE(vfs.stat("/m/sub", info));
  EXPECT_EQ(info.type, 2u);
}

TEST(ManagerMount, AnOpenFileOrphansItsDriverWhichKeepsWorking) {
  TempDir dir;
  put_file("d/x", "payload");
  Manager vfs;
  const uint64_t id = vfs.mount("d", "/m", false, "t", false);
  qkvfs::IFile* file = vfs.open_file("/m/x", 0, false);
  ASSERT_NE(file, nullptr);
  LogCapture log;
  EXPECT_FALSE(vfs.unmount(id));
  EXPECT_EQ(log.errors(), Lines{"Can't unmount driver FSDriver:d(t). Reason: as it has files opened"});
  EXPECT_FALSE(vfs.exists("/m/x"));  // hidden at once
  char bytes[8] = {};
  EXPECT_EQ(file->read(bytes, 7), 7u);
  EXPECT_STREQ(bytes, "payload");
  file->release();
  int drivers = 0;
  vfs.for_each_driver([](qkvfs::IDriver*, void* count) { ++*static_cast<int*>(count); }, &drivers);
  EXPECT_EQ(drivers, 0);
}

// A factory that takes every source, stops the chain and remembers what it was given.
struct Seen {
  std::string real_source, source, mount_point, tag;
  uint64_t id = 0;
} seen;

qkvfs::IDriver* stopping_factory(uint64_t id, const char* real_source, const char* source,
                                 const char* mount_point, const char* tag, char* error, size_t capacity,
                                 bool* stop) {
  seen = Seen{real_source, source, mount_point, tag, id};
  *stop = true;
  snprintf(error, capacity, "refused %s", source);
  return nullptr;
}

qkvfs::IDriver* silent_factory(uint64_t, const char*, const char*, const char*, const char*, char*, size_t,
                               bool*) {
  return nullptr;
}

TEST(ManagerMount, FactoriesRunInOrderAndTheirErrorsAreAlwaysLogged) {
  TempDir dir;
  put_file("Src/x", "x");
  Manager vfs;
  vfs.add_factory(stopping_factory, false);
  vfs.add_factory(stopping_factory, true);  // already there: no second entry
  LogCapture log;
  EXPECT_EQ(vfs.mount("Src/", "/p", false, nullptr, true), kMountFailed);  // the folder is never tried
  EXPECT_EQ(seen.real_source, "src");
  EXPECT_EQ(seen.source, "Src");
  EXPECT_EQ(seen.mount_point, "/p/");
  EXPECT_EQ(seen.tag, "");
  vfs.remove_factory(stopping_factory);
  EXPECT_NE(vfs.mount("Src", "/p", false, nullptr, true), kMountFailed);
  EXPECT_GT(vfs.mount("Src", "/q", false, nullptr, true), seen.id);  // ids only grow

  vfs.clear_factories();
  vfs.add_factory(silent_factory, true);
  EXPECT_EQ(vfs.mount("Src", "/r", false, nullptr, false), kMountFailed);
  EXPECT_EQ(log.errors(), (Lines{"Drivers errors while mounting Src:", "\trefused Src",
                                 "No suitable driver found to mount Src"}));
}

TEST(ManagerMount, RemountReplacesSourcesAndRebuildsTheFiles) {
  TempDir dir;
  put_file("v1/a", "old");
  put_file("v1/only1", "1");
  put_file("v2/a", "new");
  put_file("base/a", "base");
  Manager vfs;
  const uint64_t base = vfs.mount("base", "/m", false, nullptr, false);
  const uint64_t id = vfs.mount("v1", "/m", false, "t", false);
  EXPECT_EQ(read(vfs, "/m/a"), "old");
  vfs.remount(
      [](void*, const char* source) {
        return std::string(source) == "v1" ? std::string("v2") : std::string();
      },
      nullptr);
  EXPECT_EQ(read(vfs, "/m/a"), "new");  // in v1's place, ahead of base
  EXPECT_FALSE(vfs.exists("/m/only1"));
  EXPECT_EQ(vfs.count_copies("/m/a"), 2u);
  EXPECT_TRUE(vfs.unmount(id));  // the new driver has the old one's id
  EXPECT_EQ(read(vfs, "/m/a"), "base");

  LogCapture log;
  vfs.remount([](void*, const char*) { return std::string("nowhere"); }, nullptr);
  EXPECT_EQ(log.errors(), Lines{"No suitable driver found to mount nowhere"});
  EXPECT_EQ(read(vfs, "/m/a"), "base");  // kept
  EXPECT_TRUE(vfs.unmount(base));
}

}  // namespace
