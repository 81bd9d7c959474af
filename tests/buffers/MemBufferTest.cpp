// MemBuffer: exact growth, recycling with memory and bytes, the bound of 128 idle buffers.
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qk/MemBuffer.h"

namespace {

using qk::MemBuffer;
using qk::RefPtr;

int64_t live() { return MemBuffer::live_count.load(); }
int64_t live_bytes() { return MemBuffer::live_bytes.load(); }

// Holds every idle buffer of the process, so that the tests' next buffers are fresh pool items
// and their own releases are the only ones in the queue. At most 128 buffers are ever idle.
class MemBufferTest : public testing::Test {
 protected:
  void SetUp() override {
    for (int i = 0; i < 128; ++i) drained_.push_back(MemBuffer::create(0));
  }
  std::vector<RefPtr<MemBuffer>> drained_;
};

TEST_F(MemBufferTest, FreshCreateOfZeroHasNoMemory) {
  RefPtr<MemBuffer> buffer = MemBuffer::create(0);
  ASSERT_TRUE(buffer);
  EXPECT_EQ(buffer->data(), nullptr);
  EXPECT_EQ(buffer->size(), 0u);
  EXPECT_EQ(buffer->capacity(), 0u);
  EXPECT_EQ(buffer->refCount(), 1u);
}

TEST_F(MemBufferTest, GrowsToExactlyTheSizeAskedKeepingBytesAndAlignment) {
  const int64_t bytes = live_bytes();
  RefPtr<MemBuffer> buffer = MemBuffer::create(100);
  std::memset(buffer->mutableData(), 'a', 100);
  buffer->resize(40);  // shrinking keeps the memory
  EXPECT_EQ(buffer->size(), 40u);
  EXPECT_EQ(buffer->capacity(), 100u);
  buffer->resize(1001);
  EXPECT_EQ(buffer->size(), 1001u);
  EXPECT_EQ(buffer->capacity(), 1001u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(buffer->data()) % 16, 0u);
  EXPECT_EQ(std::memcmp(buffer->data(), std::string(40, 'a').data(), 40), 0);
  EXPECT_EQ(live_bytes(), bytes + 1001);
}

TEST_F(MemBufferTest, ReleasedBufferWaitsEmptyAndComesBackWithItsMemoryAndBytes) {
  RefPtr<MemBuffer> big = MemBuffer::create(1 << 20);
  MemBuffer* raw = big.get();
  for (size_t i = 0; i < (1u << 20); ++i) static_cast<unsigned char*>(raw->mutableData())[i] = uint8_t(i * 7);
  const void* memory = raw->data();
  const int64_t count = live(), bytes = live_bytes();
  big.reset();
  EXPECT_EQ(raw->size(), 0u);  // idle in the queue, still alive
  EXPECT_EQ(live(), count);
  EXPECT_EQ(live_bytes(), bytes);

  RefPtr<MemBuffer> small = MemBuffer::create(10);
  ASSERT_EQ(small.get(), raw);
  EXPECT_EQ(small->data(), memory);  // nothing was allocated
  EXPECT_EQ(small->size(), 10u);
  EXPECT_EQ(small->capacity(), 1u << 20);
  EXPECT_EQ(live_bytes(), bytes);
  const auto* bytes_kept = static_cast<const unsigned char*>(small->data());
  EXPECT_EQ(bytes_kept[9], uint8_t(9 * 7));
  EXPECT_EQ(bytes_kept[(1 << 20) - 1], uint8_t(((1 << 20) - 1) * 7));

  small.reset();
  RefPtr<MemBuffer> zero = MemBuffer::create(0);
  EXPECT_EQ(zero->data(), memory);  // create(0) of a recycled buffer keeps the old memory
}

TEST_F(MemBufferTest, TheQueueKeeps128IdleBuffersAndFreesThe129th) {
  std::vector<RefPtr<MemBuffer>> held;
  for (int i = 0; i < 200; ++i) held.push_back(MemBuffer::create(64));
  const int64_t count = live(), bytes = live_bytes();
  for (int i = 0; i < 128; ++i) held[size_t(i)].reset();
  EXPECT_EQ(live(), count);
  held[128].reset();
  EXPECT_EQ(live(), count - 1);
  EXPECT_EQ(live_bytes(), bytes - 64);
  for (RefPtr<MemBuffer>& buffer : held) buffer.reset();
  EXPECT_EQ(live(), count - 72);
}

TEST_F(MemBufferTest, ReuseResizesTheHeldBufferOrMakesOne) {
  RefPtr<MemBuffer> held = MemBuffer::create(500);
  MemBuffer* raw = held.get();
  RefPtr<MemBuffer> again = MemBuffer::reuse(held, 20);
  EXPECT_FALSE(held);
  EXPECT_EQ(again.get(), raw);
  EXPECT_EQ(again->size(), 20u);
  EXPECT_EQ(again->refCount(), 1u);

  RefPtr<MemBuffer> none;
  RefPtr<MemBuffer> made = MemBuffer::reuse(none, 30);
  ASSERT_TRUE(made);
  EXPECT_NE(made.get(), raw);
  EXPECT_EQ(made->size(), 30u);
}

// Buffers made, filled, checked and released on four threads at once: no buffer is handed to two
// holders, and the counters come back.
TEST_F(MemBufferTest, ThreadsShareThePoolAndTheQueue) {
  drained_.clear();
  const int64_t count = live();
  std::vector<std::thread> threads;
  std::atomic<int> mixed{0};
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t, &mixed] {
      std::vector<RefPtr<MemBuffer>> mine;
      for (int i = 0; i < 3000; ++i) {
        const size_t size = size_t(16 + (i * 37 + t * 11) % 4000);
        RefPtr<MemBuffer> buffer = MemBuffer::create(size);
        std::memset(buffer->mutableData(), t + 1, size);
        mine.push_back(std::move(buffer));
        if (mine.size() == 40 || i == 2999) {
          for (const RefPtr<MemBuffer>& b : mine) {
            const auto* p = static_cast<const unsigned char*>(b->data());
            for (size_t k = 0; k < b->size(); ++k)
              if (p[k] != t + 1) {
                mixed.fetch_add(1);
                break;
              }
          }
          mine.clear();
        }
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(mixed.load(), 0);
  EXPECT_LE(live(), count + 128);
}

}  // namespace
