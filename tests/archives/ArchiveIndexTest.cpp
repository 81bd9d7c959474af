// The .qkpk index: tables as a byte-by-byte archive lays them out, ranges into the string pool,
// names, metadata, and the refusals, short reads and checked stop.
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "ArchiveTestSupport.h"
#include "qkvfs/ArchiveHash.h"
#include "qkvfs/ArchiveIndex.h"
#include "qkvfs/Drivers/DataProviders/WinFileRaw.h"

namespace {

using qkvfs::ArchiveIndex;

struct ReleaseFile {
  void operator()(qkvfs::IFile* file) const { file->release(); }
};

// The answer of load_archive_index for an archive file.
std::string load(const std::string& path, ArchiveIndex& index, const char* mount_point = "/m/") {
  std::unique_ptr<qkvfs::IFile, ReleaseFile> file(qk_fs_open_raw(path, "", nullptr, nullptr));
  EXPECT_NE(file, nullptr) << path;
  if (!file) return "no file";
  return qkvfs::load_archive_index(*file, mount_point, index);
}

TEST(ArchiveIndex, LoadsTheTablesOfAnArchiveWrittenByteByByte) {
  ArchiveIndex index;
  ASSERT_EQ(load(good_archive("sample.qkpk"), index), "");

  ASSERT_EQ(index.directories.size(), 2u);
  EXPECT_EQ(index.directories[1].stored_name, "Textures/Stone");
  EXPECT_EQ(index.directories[1].path.view(), "/m/Textures/Stone");
  EXPECT_EQ(index.directories[1].key.view(), "/m/textures/stone");
  EXPECT_EQ(index.directory_times, (std::vector<uint64_t>{1111, 2222}));

  ASSERT_EQ(index.files.size(), 7u);
  ASSERT_EQ(index.records.size(), 7u);
  ASSERT_EQ(index.metadata.size(), 7u);
  ASSERT_EQ(index.digests.size(), 7u);
  EXPECT_EQ(index.files[0].path.view(), "/m/Textures/Stone/Rock.DDS");
  EXPECT_TRUE(index.records[0].compressed());
  EXPECT_EQ(index.records[0].time, 1623760244u);
  EXPECT_EQ(std::memcmp(index.records[0].record_reserved, "reserved", 8), 0);  // carried, not examined
  EXPECT_FALSE(index.records[1].compressed());  // only bit 0 of the flags counts
  EXPECT_EQ(index.records[1].size, 12u);
  EXPECT_EQ(index.digests[1], qkvfs::ArchiveHash::of("plain bytes\n", 12));

  // A stored name with backslashes and dots goes through the path rules.
  std::string normal;
  qk_path_normalize("/m/..\\Up\\.\\Back\\slash.txt", normal, false);
  EXPECT_EQ(index.files[3].path.view(), normal);
  // Ranges at the pool's end and one beyond it are empty names; one running past the end is cut.
  EXPECT_TRUE(index.files[4].stored_name.empty());
  EXPECT_NE(index.files[4].stored_name.data(), nullptr);
  EXPECT_EQ(index.files[5].stored_name.data(), nullptr);
  EXPECT_EQ(index.files[5].path.view(), "/m/");
  EXPECT_EQ(index.files[6].stored_name, "name");

  // Strings, then floats, then integers go in: of three values under one key the integer stays.
  const qk::MetadataMap& rock = index.metadata[0];
  const char* kind = nullptr;
  double gloss = 0;
  int64_t lod = 0, same = 0;
  EXPECT_TRUE(qk::metadataGetString(&rock, "kind", kind));
  EXPECT_STREQ(kind, "stone");
  EXPECT_TRUE(qk::metadataGetFloat(&rock, "gloss", gloss));
  EXPECT_EQ(gloss, 0.5);
  EXPECT_TRUE(qk::metadataGetInt(&rock, "lod", lod));
  EXPECT_EQ(lod, 2);
  EXPECT_TRUE(qk::metadataGetInt(&rock, "same", same));
  EXPECT_EQ(same, 7);
  EXPECT_TRUE(index.metadata[1].empty());
}

TEST(ArchiveIndex, AnArchiveWithNothingInItOpens) {
  ArchiveIndex index;
  EXPECT_EQ(load(good_archive("empty.qkpk"), index), "");
  EXPECT_TRUE(index.files.empty());
  EXPECT_TRUE(index.directories.empty());
}

TEST(ArchiveIndex, RefusesABrokenOrEncipheredArchiveInTheFormatsWords) {
  const std::pair<const char*, const char*> cases[] = {
      {"seven-bytes.qkpk", "archive is broken"},
      {"no-magic.qkpk", "archive is broken"},
      {"version-2.qkpk", "archive is broken"},
      {"version-4.qkpk", "archive is broken"},
      {"index-before-start.qkpk", "archive is broken"},
      // Found before the index size, which is absurd in this file, is looked at.
      {"cipher-tail.qkpk", "encrypted archive isn't supported"},
      {"cipher-index.qkpk", "encrypted archive isn't supported"},
  };
  for (const auto& [name, reason] : cases) {
    ArchiveIndex index;
    EXPECT_EQ(load(bad_archive(name), index), reason) << name;
  }
}

TEST(ArchiveIndex, ShortSectionsThrowAndAShortMetadataTableStops) {
  for (const char* name : {"cut-records.qkpk", "pool-claim.qkpk"}) {
    ArchiveIndex index;
    try {
      load(bad_archive(name), index);
      ADD_FAILURE() << name << " loaded";
    } catch (const qk::ReadFormatError& error) {
      EXPECT_STREQ(error.what(), "Not enough input data") << name;
    }
  }
  ArchiveIndex index;
  EXPECT_THROW(load(bad_archive("meta-short.qkpk"), index), std::out_of_range);
}

}  // namespace
