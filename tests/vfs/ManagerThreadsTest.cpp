// Eight threads reading through one Manager at once: look-ups, whole reads, readers, listings and
// copies, while the Manager's one lock and the drivers' counters are shared.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "BufferBytes.h"
#include "TempDir.h"
#include "VfsTestSupport.h"
#include "qkvfs/Manager.h"

namespace {

constexpr int kThreads = 8;
constexpr int kFiles = 64;
constexpr int kRounds = 40;

std::string content_of(int file) {
  return "file " + std::to_string(file) + std::string(size_t(file) * 37, 'x');
}

TEST(ManagerThreads, EightReadersSeeEveryFileWhole) {
  TempDir dir;
  for (int f = 0; f < kFiles; ++f)
    put_file("d/sub" + std::to_string(f % 4) + "/f" + std::to_string(f), content_of(f));
  put_file("e/sub0/f0", "shadowed");
  qkvfs::Manager vfs;
  ASSERT_NE(vfs.mount("e", "/m", false, nullptr, false), qkvfs::kMountFailed);
  ASSERT_NE(vfs.mount("d", "/m", false, nullptr, false), qkvfs::kMountFailed);

  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round) {
        const int f = (t * 7 + round) % kFiles;
        const std::string path = "/M/Sub" + std::to_string(f % 4) + "/F" + std::to_string(f);
        qkvfs::EntryInfo info;
        if (!vfs.exists(path) || !vfs.stat(path, info) || info.size != content_of(f).size()) ++wrong;
        const qk::RefPtr<qk::IBuffer> bytes = vfs.read_file(path, false);
        if (!bytes || bytes_of(bytes) != content_of(f)) ++wrong;
        qk::ReaderPtr<> reader = vfs.open_reader(path, false);
        std::string streamed(content_of(f).size() + 1, '\0');
        if (!reader || reader->read(&streamed[0], streamed.size()) != content_of(f).size()) ++wrong;
        int names = 0;
        vfs.list_dir(
            "/m/sub" + std::to_string(f % 4),
            [](void* n, std::string_view, std::string_view, uint32_t) { ++*static_cast<int*>(n); }, &names);
        if (names != kFiles / 4) ++wrong;
        if (vfs.count_copies("/m/sub0/f0") != 2) ++wrong;
        vfs.for_each_copy(
            "/m/sub0/f0",
            [&](const qk::RefPtr<qk::IBuffer>& copy) {
              if (!copy || copy->size() == 0) ++wrong;
            },
            false);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_TRUE(vfs.unmount_by_source("d"));  // nothing is left open
}

}  // namespace
