// The process-wide cache of zstd contexts: its bound, its reset, and readers on many threads.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "ReaderTestSupport.h"
#include "qk/ZstdContextPool.h"
#include "qk/ZstdDecompressReader.h"

namespace {

using readertest::drain;
using readertest::loadData;

TEST(ZstdContextPool, KeepsAtMostEightIdleContexts) {
  std::vector<qk::ZstdStreamContext*> held;
  for (int i = 0; i < 10; ++i) held.push_back(qk::ZstdContextPool::acquire());
  for (qk::ZstdStreamContext* context : held) qk::ZstdContextPool::release(context);
  EXPECT_EQ(qk::ZstdContextPool::live_count.load(), 8);  // the ninth and tenth were freed

  held.clear();
  for (int i = 0; i < 8; ++i) held.push_back(qk::ZstdContextPool::acquire());
  EXPECT_EQ(qk::ZstdContextPool::live_count.load(), 8);  // all eight reused
  held.push_back(qk::ZstdContextPool::acquire());
  EXPECT_EQ(qk::ZstdContextPool::live_count.load(), 9);
  for (qk::ZstdStreamContext* context : held) qk::ZstdContextPool::release(context);
  EXPECT_EQ(qk::ZstdContextPool::live_count.load(), 8);
}

// A reader that ends in the middle of a frame leaves its context mid-stream; the next reader gets
// that context back and must start a fresh frame.
TEST(ZstdContextPool, AReusedContextStartsAFreshFrame) {
  const std::string packed = loadData("good/readers/text.zst");
  {
    qk::BufferReader source(readertest::bufferOf(packed));
    qk::ZstdDecompressReader reader(&source, 65000);
    char part[100];
    ASSERT_EQ(reader.read(part, sizeof part), sizeof part);
  }
  qk::BufferReader source(readertest::bufferOf(packed));
  qk::ZstdDecompressReader reader(&source, 65000);
  EXPECT_EQ(drain(reader, 3000), loadData("good/readers/text.txt"));
}

TEST(ZstdContextPool, ReadersOnManyThreadsComeAndGo) {
  const std::string plain = loadData("good/readers/text.txt");
  const qk::RefPtr<qk::IBuffer> packed = readertest::bufferOf(loadData("good/readers/text-nosize.zst"));
  std::vector<std::thread> threads;
  std::vector<int> failures(8, 0);
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([&, t] {
      for (int round = 0; round < 20; ++round) {
        qk::BufferReader source(packed);
        qk::ZstdDecompressReader reader(&source, plain.size());
        if (drain(reader, 1000 + 97 * t) != plain) ++failures[t];
      }
    });
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < 8; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
  EXPECT_LE(qk::ZstdContextPool::live_count.load(), 8);
}

}  // namespace
