// MemBuffer: exact growth, recycling with memory and bytes, the bound of 128 idle buffers.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "qk/MemBuffer.h"

namespace {

using qk::MemBuffer;
using qk::RefPtr;

int64_t live() { return MemBuffer::live_count.load(); }
int64_t live_bytes() { return MemBuffer::live_bytes.load(); }

// Holds every idle buffer of the process (never more than 128), so that a test's next buffers are
// fresh pool items and its own releases are the only ones in the queue.
class MemBufferTest : public testing::Test {
 protected:
  void SetUp() override {
    for (int i = 0; i < 128; ++i) drained_.push_back(MemBuffer::create(0));
  }
  std::vector<RefPtr<MemBuffer>> drained_;
};

TEST_F(MemBufferTest, GrowsToExactlyTheSizeAskedKeepingBytesAndAlignment) {
  const int64_t bytes = live_bytes();
  RefPtr<MemBuffer> buffer = MemBuffer::create(0);
  EXPECT_EQ(buffer->data(), nullptr);  // a fresh buffer of 0 has no memory
  buffer->resize(100);
  std::memset(buffer->mutableData(), 'a', 100);
  buffer->resize(40);  // shrinking keeps the memory
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
  auto* bytes = static_cast<unsigned char*>(raw->mutableData());
  for (size_t i = 0; i < (1u << 20); ++i) bytes[i] = uint8_t(i * 7);
  const int64_t count = live(), held_bytes = live_bytes();
  big.reset();
  EXPECT_EQ(raw->size(), 0u);  // idle in the queue, still alive
  EXPECT_EQ(live(), count);

  RefPtr<MemBuffer> small = MemBuffer::create(10);
  ASSERT_EQ(small.get(), raw);
  EXPECT_EQ(small->data(), bytes);  // nothing was allocated
  EXPECT_EQ(small->capacity(), 1u << 20);
  EXPECT_EQ(live_bytes(), held_bytes);
  EXPECT_EQ(bytes[9], uint8_t(9 * 7));
  EXPECT_EQ(bytes[(1 << 20) - 1], uint8_t(((1 << 20) - 1) * 7));
  small.reset();
  EXPECT_EQ(MemBuffer::create(0)->data(), bytes);  // create(0) of a recycled buffer keeps it too
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
  held.clear();
  EXPECT_EQ(live(), count - 72);
}

}  // namespace
