// The bounded lock-free queue of idle buffers, on its own instance.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include "qk/MemBufferRecycler.h"

namespace {

using qk::MemBuffer;

// The queue never looks behind its pointers, so numbered tokens stand in for buffers.
MemBuffer* token(uintptr_t n) { return reinterpret_cast<MemBuffer*>(n << 4); }
uintptr_t number(MemBuffer* buffer) { return reinterpret_cast<uintptr_t>(buffer) >> 4; }

TEST(MemBufferRecycler, IsFifoHoldsAtMost128AndReusesItsNodes) {
  qk::MemBufferRecycler queue;
  EXPECT_EQ(queue.take(), nullptr);
  for (uintptr_t i = 1; i <= 128; ++i) ASSERT_TRUE(queue.offer(token(i))) << i;
  EXPECT_FALSE(queue.offer(token(129)));
  uintptr_t next_in = 129, next_out = 1;
  // Nodes go round the queue and the free list many times, their generations with them.
  for (int round = 0; round < 20000; ++round) {
    ASSERT_EQ(number(queue.take()), next_out++);
    ASSERT_TRUE(queue.offer(token(next_in++)));
    ASSERT_FALSE(queue.offer(token(next_in)));
  }
  while (next_out < next_in) ASSERT_EQ(number(queue.take()), next_out++);
  EXPECT_EQ(queue.take(), nullptr);
}

// Four producers and four consumers at once: every token arrives exactly once, and each consumer
// sees each producer's tokens in the order they were offered.
TEST(MemBufferRecycler, ProducersAndConsumersOnManyThreads) {
  qk::MemBufferRecycler queue;
  constexpr uintptr_t kProducers = 4, kPerProducer = 20000;
  std::vector<std::atomic<int>> seen(kProducers * kPerProducer);
  std::atomic<uintptr_t> received{0};
  std::atomic<int> out_of_order{0};
  std::vector<std::thread> threads;
  for (uintptr_t p = 0; p < kProducers; ++p)
    threads.emplace_back([&queue, p] {
      for (uintptr_t i = 0; i < kPerProducer; ++i)
        while (!queue.offer(token(1 + p * kPerProducer + i))) std::this_thread::yield();
    });
  for (int c = 0; c < 4; ++c)
    threads.emplace_back([&] {
      uintptr_t last[kProducers] = {};
      while (received.load() < kProducers * kPerProducer) {
        MemBuffer* buffer = queue.take();
        if (!buffer) {
          std::this_thread::yield();
          continue;
        }
        const uintptr_t n = number(buffer), producer = (n - 1) / kPerProducer;
        if (n <= last[producer]) out_of_order.fetch_add(1);
        last[producer] = n;
        seen[n - 1].fetch_add(1);
        received.fetch_add(1);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(out_of_order.load(), 0);
  int wrong = 0;
  for (const std::atomic<int>& count : seen) wrong += count.load() != 1;
  EXPECT_EQ(wrong, 0);
}

}  // namespace
