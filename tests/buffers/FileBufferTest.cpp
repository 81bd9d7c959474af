// Whole files as buffers: read or mapped at the 1 MiB boundary, empty, missing and short files.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "BufferBytes.h"
#include "LogCapture.h"
#include "TempDir.h"
#include "qk/EmptyBuffer.h"
#include "qk/FileBuffer.h"
#include "qkvfs/MappedFileBuffer.h"

namespace {

std::string pattern(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) bytes[i] = char(i * 131 + i / 977);
  return bytes;
}

bool is_mapped(const qk::RefPtr<qk::IBuffer>& buffer) {
  return dynamic_cast<qkvfs::MappedFileBuffer*>(buffer.get()) != nullptr;
}

TEST(LoadFileBuffer, ReadsBelowOneMebibyteAndMapsFromIt) {
  TempDir dir;
  const std::string below = pattern(1048575), at = pattern(1048576);
  bool opened = false;
  const qk::RefPtr<qk::IBuffer> read = qk_load_file_buffer(dir.write("below", below), opened, false);
  EXPECT_TRUE(opened);
  ASSERT_NE(dynamic_cast<qk::MemBuffer*>(read.get()), nullptr);
  EXPECT_EQ(bytes_of(read), below);

  const qk::RefPtr<qk::IBuffer> mapped = qk_load_file_buffer(dir.write("at", at), opened, false);
  ASSERT_TRUE(is_mapped(mapped));
  EXPECT_EQ(bytes_of(mapped), at);
}

TEST(LoadFileBuffer, AlwaysMapMapsASmallFileAndTheLastReleaseClosesIt) {
  TempDir dir;
  const int before = open_descriptor_count();
  const uint32_t in_use = qkvfs::MappedFileBuffer::pool.items_in_use();
  bool opened = false;
  qk::RefPtr<qk::IBuffer> mapped = qk_load_file_buffer(dir.write("ten", "0123456789"), opened, true);
  ASSERT_TRUE(is_mapped(mapped));
  // POSIX lets the name go and the view outlive it; Windows keeps a mapped file.
  std::error_code removal;
  EXPECT_EQ(std::filesystem::remove("ten", removal), qk_test_open_files_can_be_removed())
      << removal.message();
  EXPECT_EQ(bytes_of(mapped), "0123456789");
  EXPECT_EQ(open_descriptor_count(), before + 1);
  mapped.reset();
  EXPECT_EQ(open_descriptor_count(), before);
  EXPECT_EQ(qkvfs::MappedFileBuffer::pool.items_in_use(), in_use);
}

TEST(LoadFileBuffer, WhatCantBeOpenedIsNullAndNotOpened) {
  TempDir dir;
  std::filesystem::create_directory("folder");
  for (const std::string& path : {std::string("missing"), std::string("folder"), std::string(5000, 'a')}) {
    bool opened = true;
    EXPECT_FALSE(qk_load_file_buffer(path, opened, false)) << path;
    EXPECT_FALSE(opened) << path;
  }
}

// A file of the system's information tree tells a size of 4096 and gives a few bytes: the one read
// comes short, the answer is null, and the descriptor stays open.
TEST(LoadFileBuffer, ShortReadIsNullAndKeepsTheFileOpen) {
  const char* path = "/sys/devices/system/cpu/online";
  std::error_code error;
  if (std::filesystem::file_size(path, error) != 4096) GTEST_SKIP() << "no short-reading file here";
  const int before = open_descriptor_count();
  bool opened = false;
  EXPECT_FALSE(qk_load_file_buffer(path, opened, false));
  EXPECT_TRUE(opened);
  EXPECT_EQ(open_descriptor_count(), before + 1);
}

TEST(FsReadInto, FillsTheGivenBufferOrANewOne) {
  TempDir dir;
  dir.write("f", "contents");
  dir.write("empty", "");
  qk::RefPtr<qk::MemBuffer> reusable = qk::MemBuffer::create(100), none;
  qk::MemBuffer* raw = reusable.get();
  const qk::RefPtr<qk::IBuffer> read = qk_fs_read_into("f", reusable);
  EXPECT_FALSE(reusable);
  EXPECT_EQ(read.get(), raw);
  EXPECT_EQ(bytes_of(read), "contents");
  EXPECT_EQ(qk_fs_read_into("empty", none)->size(), 0u);
  qk::RefPtr<qk::MemBuffer> kept = qk::MemBuffer::create(4);
  EXPECT_FALSE(qk_fs_read_into("missing", kept));
  EXPECT_TRUE(kept);  // untouched when the file can't be opened
}

}  // namespace
