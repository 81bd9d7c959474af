// Eight threads reading the entries of one archive and of one zip file at once, through files,
// futures and streams, sharing the drivers, their handles, the pools and the zstd caches.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "ArchiveTestSupport.h"
#include "TempDir.h"
#include "qk/BufferReader.h"
#include "qkvfs/ArchiveWriter.h"
#include "qkvfs/Drivers/QKPKDriver.h"
#include "qkvfs/Drivers/ZDriver.h"

namespace {

// 64 files of different sizes and content, one of them above 1 MiB so that it streams.
std::vector<std::string> make_contents() {
  std::vector<std::string> contents;
  for (int i = 0; i < 64; ++i) {
    std::string bytes = std::to_string(i) + ":";
    const size_t size = i == 7 ? 0x180000 : size_t(100 + i * 997);
    while (bytes.size() < size) bytes += archive_text().substr(size_t(i) * 13, 700);
    bytes.resize(size);
    contents.push_back(bytes);
  }
  return contents;
}

using Expected = std::vector<std::pair<uint64_t, std::string>>;  // entry index, content

// Each thread reads every entry, starting at its own place, in the three ways.
void read_all_at_once(qkvfs::IDriver& driver, const Expected& expected) {
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (size_t k = 0; k < expected.size(); ++k) {
        const auto& [i, content] = expected[(k + size_t(t) * 8) % expected.size()];
        if (read_whole(driver, i) != content) ++wrong;
        qkvfs::IBufFuture* future = driver.open_future(i);
        const qk::RefPtr<qk::IBuffer> bytes = future ? future->get(nullptr) : nullptr;
        if (future) future->release();
        if (!bytes || std::string(static_cast<const char*>(bytes->data()), bytes->size()) != content) ++wrong;
        if (read_stream(driver, i, 3000 + size_t(t)) != content) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_FALSE(driver.has_open_files());
}

TEST(ArchiveThreads, EightThreadsReadOneArchiveAtOnce) {
  TempDir dir;
  const std::vector<std::string> contents = make_contents();
  StringSink sink;
  qkvfs::ArchiveWriter writer(sink, qkvfs::ArchiveWriterOptions());
  for (size_t i = 0; i < contents.size(); ++i) {
    qk::RefPtr<qk::MemBuffer> buffer = qk::MemBuffer::create(contents[i].size());
    std::memcpy(buffer->mutableData(), contents[i].data(), contents[i].size());
    qk::BufferReader content{qk::RefPtr<qk::IBuffer>(std::move(buffer))};
    char name[32];
    std::snprintf(name, sizeof name, "f%03zu", i);
    ASSERT_TRUE(writer.add_file(name, 0, nullptr, content, contents[i].size()));
  }
  ASSERT_TRUE(writer.finish());
  dir.write("many.qkpk", sink.bytes);
  Made made = make_driver(&qkvfs::QKPKDriver::factory, "many.qkpk");
  ASSERT_NE(made.driver, nullptr);
  Expected expected;
  for (size_t i = 0; i < contents.size(); ++i) expected.emplace_back(i, contents[i]);
  read_all_at_once(*made.driver, expected);
}

TEST(ArchiveThreads, EightThreadsReadOneZipAtOnce) {
  Made made = make_driver(&qkvfs::ZDriver::factory, good_archive("infozip-deflated.zip"));
  ASSERT_NE(made.driver, nullptr);
  Expected expected;
  const std::vector<std::string> lines = entry_lines(*made.driver);
  for (uint64_t i = 0; i < lines.size(); ++i)
    if (lines[i][0] == '1') expected.emplace_back(i, read_whole(*made.driver, i).value_or("?"));
  ASSERT_EQ(expected.size(), 2u);
  read_all_at_once(*made.driver, expected);
}

}  // namespace
