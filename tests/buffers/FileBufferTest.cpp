// Whole files as buffers: read or mapped at the 1 MiB boundary, empty, missing and short files.
#include <fcntl.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "LogCapture.h"
#include "TempDir.h"
#include "qk/EmptyBuffer.h"
#include "qk/FileBuffer.h"
#include "qk/MemBuffer.h"
#include "qkvfs/MappedFileBuffer.h"

namespace {

std::string pattern(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) bytes[i] = char(i * 131 + i / 977);
  return bytes;
}

std::string bytes_of(const qk::RefPtr<qk::IBuffer>& buffer) {
  return std::string(static_cast<const char*>(buffer->data()), buffer->size());
}

bool is_mapped(const qk::RefPtr<qk::IBuffer>& buffer) {
  return dynamic_cast<qkvfs::MappedFileBuffer*>(buffer.get()) != nullptr;
}
bool is_read(const qk::RefPtr<qk::IBuffer>& buffer) {
  return dynamic_cast<qk::MemBuffer*>(buffer.get()) != nullptr;
}

TEST(LoadFileBuffer, ReadsBelowOneMebibyteAndMapsFromIt) {
  TempDir dir;
  const std::string below = pattern(1048575), at = pattern(1048576);
  bool opened = false;
  const qk::RefPtr<qk::IBuffer> read = qk_load_file_buffer(dir.write("below", below), opened, false);
  ASSERT_TRUE(read);
  EXPECT_TRUE(opened);
  EXPECT_TRUE(is_read(read));
  EXPECT_EQ(bytes_of(read), below);

  const qk::RefPtr<qk::IBuffer> mapped = qk_load_file_buffer(dir.write("at", at), opened, false);
  ASSERT_TRUE(mapped);
  EXPECT_TRUE(is_mapped(mapped));
  EXPECT_EQ(bytes_of(mapped), at);
}

TEST(LoadFileBuffer, AlwaysMapMapsASmallFileAndTheMapOutlivesTheName) {
  TempDir dir;
  bool opened = false;
  const qk::RefPtr<qk::IBuffer> mapped = qk_load_file_buffer(dir.write("ten", "0123456789"), opened, true);
  ASSERT_TRUE(mapped);
  EXPECT_TRUE(is_mapped(mapped));
  std::filesystem::remove("ten");
  EXPECT_EQ(bytes_of(mapped), "0123456789");
}

TEST(LoadFileBuffer, EmptyFileIsTheEmptyBufferAndCountsAsOpened) {
  TempDir dir;
  for (bool always_map : {false, true}) {
    bool opened = false;
    const qk::RefPtr<qk::IBuffer> empty = qk_load_file_buffer(dir.write("empty", ""), opened, always_map);
    EXPECT_TRUE(opened);
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty.get(), qk::EmptyBuffer::instance().get());
    EXPECT_EQ(empty->data(), nullptr);
  }
}

TEST(LoadFileBuffer, WhatCantBeOpenedIsNullAndNotOpened) {
  TempDir dir;
  std::filesystem::create_directory("folder");
  for (const char* path : {"missing", "folder", ""}) {
    bool opened = true;
    EXPECT_FALSE(qk_load_file_buffer(path, opened, false)) << path;
    EXPECT_FALSE(opened) << path;
  }
  const int before = open_descriptor_count();
  bool opened = true;
  EXPECT_FALSE(qk_load_file_buffer(std::string(5000, 'a'), opened, false));  // beyond PATH_MAX
  EXPECT_FALSE(opened);
  EXPECT_EQ(open_descriptor_count(), before);
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

TEST(MappedFileBuffer, FailedViewIsAnEmptyBufferWithItsFileClosed) {
  TempDir dir;
  dir.write("f", "abc");
  qk_platform_file file = qk_fs_open("f", QK_FS_READ, QK_FS_OPEN_EXISTING, 0);
  ASSERT_TRUE(file.valid());
  const qk::RefPtr<qk::IBuffer> buffer = qkvfs::MappedFileBuffer::create(file, qk_platform_mapping{}, 3);
  ASSERT_TRUE(buffer);
  EXPECT_EQ(buffer->size(), 0u);
  EXPECT_EQ(buffer->data(), nullptr);
  EXPECT_EQ(fcntl(int(file.handle), F_GETFD), -1);
}

TEST(MappedFileBuffer, LastReleaseClosesTheFileAndReturnsTheItem) {
  TempDir dir;
  dir.write("f", pattern(5000));
  const uint32_t in_use = qkvfs::MappedFileBuffer::pool.items_in_use();
  const int before = open_descriptor_count();
  bool opened = false;
  qk::RefPtr<qk::IBuffer> mapped = qk_load_file_buffer("f", opened, true);
  EXPECT_EQ(qkvfs::MappedFileBuffer::pool.items_in_use(), in_use + 1);
  EXPECT_EQ(open_descriptor_count(), before + 1);
  mapped.reset();
  EXPECT_EQ(qkvfs::MappedFileBuffer::pool.items_in_use(), in_use);
  EXPECT_EQ(open_descriptor_count(), before);
}

TEST(FsReadInto, FillsTheGivenBufferOrANewOne) {
  TempDir dir;
  dir.write("f", "contents");
  dir.write("empty", "");
  qk::RefPtr<qk::MemBuffer> reusable = qk::MemBuffer::create(100);
  qk::MemBuffer* raw = reusable.get();
  qk::RefPtr<qk::IBuffer> read = qk_fs_read_into("f", reusable);
  EXPECT_FALSE(reusable);
  EXPECT_EQ(read.get(), raw);
  EXPECT_EQ(bytes_of(read), "contents");

  qk::RefPtr<qk::MemBuffer> none;
  const qk::RefPtr<qk::IBuffer> empty = qk_fs_read_into("empty", none);
  ASSERT_TRUE(empty);
  EXPECT_EQ(empty->size(), 0u);

  qk::RefPtr<qk::MemBuffer> kept = qk::MemBuffer::create(4);
  EXPECT_FALSE(qk_fs_read_into("missing", kept));
  EXPECT_TRUE(kept);  // untouched when the file can't be opened
}

}  // namespace
