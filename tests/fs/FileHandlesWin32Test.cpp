// The Win32 handle calls: positional reads from many threads on one overlapped handle (each with
// an event from the shared stack), the end of the file, and read-only mappings.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "TempDir.h"
#include "platform/qk_fs.h"

namespace {

std::string pattern(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) bytes[i] = char(i * 7 + i / 251);
  return bytes;
}

TEST(Win32ReadAt, ManyThreadsReadTheirOwnOffsetsOfOneOverlappedHandle) {
  TempDir dir;
  const std::string bytes = pattern(1 << 20);
  dir.write("big", bytes);
  const qk_platform_file file =
      qk_fs_open("big", QK_FS_READ, QK_FS_OPEN_EXISTING, QK_FS_OVERLAPPED | QK_FS_RANDOM_ACCESS);
  ASSERT_TRUE(file.valid());
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < 6; ++t)
    threads.emplace_back([&, t] {
      std::mt19937_64 random(t + 1);
      std::string out;
      for (int i = 0; i < 400; ++i) {
        const uint64_t offset = random() % bytes.size();
        out.assign(size_t(1 + random() % 40000), '\0');
        size_t done = 0;
        const qk_platform_error error = qk_platform_read_at(file, offset, &out[0], out.size(), done);
        const size_t expected = std::min<size_t>(out.size(), bytes.size() - offset);  // across the end
        if (error != 0 || done != expected || out.compare(0, done, bytes, offset, done) != 0)
          wrong.fetch_add(1);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);

  char out[8];
  size_t done = 99;
  EXPECT_EQ(qk_platform_read_at(file, bytes.size(), out, sizeof out, done), 0);  // the end is no error
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(qk_platform_read_at(file, bytes.size() + 100, out, sizeof out, done), 0);
  EXPECT_EQ(done, 0u);
  qk_platform_close(file);
}

TEST(Win32ReadAt, APlainHandleReadsAtOffsetsToo) {
  TempDir dir;
  dir.write("small", "0123456789");
  const qk_platform_file file = qk_fs_open("small", QK_FS_READ, QK_FS_OPEN_EXISTING, QK_FS_SEQUENTIAL_SCAN);
  ASSERT_TRUE(file.valid());
  std::string out(16, '\0');
  size_t done = 0;
  ASSERT_EQ(qk_platform_read_at(file, 6, &out[0], out.size(), done), 0);
  EXPECT_EQ(out.substr(0, done), "6789");
  uint64_t size = 0;
  ASSERT_EQ(qk_platform_size(file, size), 0);
  EXPECT_EQ(size, 10u);
  qk_platform_close(file);
}

TEST(Win32Mapping, ViewsTheWholeFileAndRefusesAnEmptyOne) {
  TempDir dir;
  const std::string bytes = pattern(70000);
  dir.write("mapped", bytes);
  dir.write("empty", "");
  const qk_platform_file file = qk_fs_open("mapped", QK_FS_READ, QK_FS_OPEN_EXISTING, 0);
  ASSERT_TRUE(file.valid());
  qk_platform_mapping mapping;
  ASSERT_EQ(qk_platform_mapping_create(file, bytes.size(), mapping), 0);
  const void* view = qk_platform_map_view(mapping, bytes.size());
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(std::string(static_cast<const char*>(view), bytes.size()), bytes);
  qk_platform_unmap_view(view, bytes.size());
  qk_platform_mapping_close(mapping);
  qk_platform_close(file);

  const qk_platform_file empty = qk_fs_open("empty", QK_FS_READ, QK_FS_OPEN_EXISTING, 0);
  ASSERT_TRUE(empty.valid());
  EXPECT_NE(qk_platform_mapping_create(empty, 0, mapping), 0);
  EXPECT_FALSE(mapping.valid());
  qk_platform_close(empty);
}

TEST(Win32Handles, RewriteSeeksAndEndsTheFileAtItsPosition) {
  TempDir dir;
  dir.write("f", "0123456789");
  const qk_platform_file file = qk_fs_open("f", QK_FS_READ | QK_FS_WRITE, QK_FS_OPEN_ALWAYS, 0);
  ASSERT_TRUE(file.valid());
  uint64_t position = 0;
  ASSERT_EQ(qk_platform_seek(file, -3, QK_SEEK_END, position), 0);
  EXPECT_EQ(position, 7u);
  ASSERT_EQ(qk_platform_set_end(file), 0);
  size_t done = 0;
  ASSERT_EQ(qk_platform_write_fully(file, "xy", 2, done), 0);
  ASSERT_EQ(qk_platform_seek(file, 0, QK_SEEK_SET, position), 0);
  std::string out(16, '\0');
  ASSERT_EQ(qk_platform_read_fully(file, &out[0], out.size(), done), 0);
  EXPECT_EQ(out.substr(0, done), "0123456xy");
  EXPECT_NE(qk_platform_seek(file, -100, QK_SEEK_SET, position), 0);  // before the start
  qk_platform_close(file);
}

}  // namespace
