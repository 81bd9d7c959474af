// ArchiveWriter: what it writes reads back through the archive driver whole, with its choices of
// compression, its digests and metadata; the same additions give the same bytes; a content that
// changes under it fails the archive.
#include <gtest/gtest.h>

#include <random>

#include "ArchiveTestSupport.h"
#include "TempDir.h"
#include "qk/BufferReader.h"
#include "qk/MemBuffer.h"
#include "qkvfs/ArchiveHash.h"
#include "qkvfs/ArchiveWriter.h"
#include "qkvfs/Drivers/QKPKDriver.h"

namespace {

using qkvfs::ArchiveWriter;
using qkvfs::ArchiveWriterOptions;

qk::BufferReader reader_of(const std::string& bytes) {
  qk::RefPtr<qk::MemBuffer> buffer = qk::MemBuffer::create(bytes.size());
  if (!bytes.empty()) std::memcpy(buffer->mutableData(), bytes.data(), bytes.size());
  return qk::BufferReader(qk::RefPtr<qk::IBuffer>(std::move(buffer)));
}

std::string noise(size_t size) {
  std::mt19937 random(5);
  std::string bytes(size, '\0');
  for (char& c : bytes) c = char(random());
  return bytes;
}

struct Entry {
  const char* name;
  std::string bytes;
};

// An archive of `entries` (with the directory "Tex"), and whether each went in compressed.
std::string write_archive(const std::vector<Entry>& entries, const ArchiveWriterOptions& options,
                          std::vector<bool>* compressed = nullptr) {
  StringSink sink;
  ArchiveWriter writer(sink, options);
  writer.add_directory("Tex", 42);
  qk::MetadataMap metadata;
  qk::metadataSetString(metadata, "kind", "stone");
  qk::metadataSetFloat(metadata, "gloss", 0.25);
  qk::metadataSetInt(metadata, "lod", -3);
  for (const Entry& entry : entries) {
    qk::BufferReader content = reader_of(entry.bytes);
    qkvfs::ArchiveFileResult result;
    EXPECT_TRUE(writer.add_file(entry.name, 1000, &metadata, content, entry.bytes.size(), &result))
        << writer.error();
    if (compressed) compressed->push_back(result.compressed);
  }
  EXPECT_TRUE(writer.finish());
  EXPECT_EQ(writer.bytes_written(), sink.bytes.size());
  return sink.bytes;
}

TEST(ArchiveWriter, WhatItWritesReadsBackThroughTheDriver) {
  TempDir dir;
  const std::string text = archive_text();
  std::string large;
  while (large.size() <= qkvfs::kArchiveStreamAbove) large += text;
  const std::vector<Entry> entries = {{"Tex/Rock.dds", text},
                                      {"empty.bin", ""},
                                      {"noise.bin", noise(5000)},
                                      {"large.txt", large},
                                      {"tiny.txt", "abc"}};
  std::vector<bool> compressed;
  dir.write("out.qkpk", write_archive(entries, ArchiveWriterOptions(), &compressed));
  // Compressed where zstd saves a 16th or more, and always above 1 MiB.
  EXPECT_EQ(compressed, (std::vector<bool>{true, false, false, true, false}));

  Made made = make_driver(&qkvfs::QKPKDriver::factory, "out.qkpk", "/");
  ASSERT_NE(made.driver, nullptr) << made.error;
  auto& driver = static_cast<qkvfs::QKPKDriver&>(*made.driver);
  EXPECT_EQ(entry_lines(driver).back(), "2 /tex /tex");
  qkvfs::EntryInfo info;
  driver.info(entries.size(), info);
  EXPECT_EQ(info.time, 42u);
  for (size_t i = 0; i < entries.size(); ++i) {
    EXPECT_EQ(driver.index().files[i].stored_name, entries[i].name);
    EXPECT_EQ(read_whole(driver, i), entries[i].bytes) << entries[i].name;
    EXPECT_EQ(read_stream(driver, i, 65536), entries[i].bytes) << entries[i].name;
    EXPECT_EQ(driver.index().digests[i],
              qkvfs::ArchiveHash::of(entries[i].bytes.data(), entries[i].bytes.size()));
    EXPECT_EQ(driver.index().records[i].time, 1000u);
  }
  qkvfs::IFile* file = driver.open_file(0);
  const char* kind = nullptr;
  double gloss = 0;
  int64_t lod = 0;
  EXPECT_TRUE(file->meta_string("kind", kind) && file->meta_float("gloss", gloss) &&
              file->meta_integer("lod", lod));
  EXPECT_STREQ(kind, "stone");
  EXPECT_EQ(gloss, 0.25);
  EXPECT_EQ(lod, -3);
  file->release();
}

TEST(ArchiveWriter, SameAdditionsGiveTheSameBytesAndStoreBelowIsKept) {
  const std::vector<Entry> entries = {{"a.txt", archive_text()}, {"b.txt", archive_text().substr(0, 500)}};
  EXPECT_EQ(write_archive(entries, ArchiveWriterOptions()), write_archive(entries, ArchiveWriterOptions()));
  ArchiveWriterOptions options;
  options.store_below = 1000;
  std::vector<bool> compressed;
  write_archive(entries, options, &compressed);
  EXPECT_EQ(compressed, (std::vector<bool>{true, false}));
}

TEST(ArchiveWriter, AContentThatChangesUnderItFailsTheArchive) {
  for (const uint64_t announced : {uint64_t(10), uint64_t(2000000), uint64_t(3)}) {
    StringSink sink;
    ArchiveWriter writer(sink, ArchiveWriterOptions());
    qk::BufferReader content = reader_of(announced == 3 ? "four" : "short");
    EXPECT_FALSE(writer.add_file("f.txt", 0, nullptr, content, announced));
    EXPECT_NE(writer.error().find("f.txt: changed while it was packed"), std::string::npos) << writer.error();
    EXPECT_FALSE(writer.finish());
  }
}

TEST(ArchiveHash, IsBlake2bWithA32ByteDigest) {
  const qkvfs::ArchiveDigest digest = qkvfs::ArchiveHash::of("abc", 3);
  std::string hex;
  for (uint8_t byte : digest) hex += "0123456789abcdef"[byte >> 4], hex += "0123456789abcdef"[byte & 15];
  EXPECT_EQ(hex, "bddd813c634239723171ef3fee98579b94964e3bb1cb3e427262c8c068d52319");  // hashlib.blake2b
}

}  // namespace
