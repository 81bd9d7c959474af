// Win32 positional reads: many threads on one overlapped handle, each waiting on an event from the
// shared stack, and the end of the file as a short read rather than an error. (Mappings, seeks and
// plain reads are tried by the buffer and file tests, which run on both platforms.)
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

}  // namespace
