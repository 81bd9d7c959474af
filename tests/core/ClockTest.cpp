// The platform's tick counter: its stated rate must be its real rate, and it must not run
// backwards when the reading moves from one processor to another.
#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "platform/qk_platform.h"

namespace {

TEST(ClockTest, TicksGoAtTheStatedRate) {
  const int64_t frequency = qk_platform_ticks_per_second();
  ASSERT_GT(frequency, 1000000);
  const auto start = std::chrono::steady_clock::now();
  const int64_t first = qk_platform_ticks();
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  const int64_t last = qk_platform_ticks();
  const double steady = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const double ticked = double(last - first) / double(frequency);
  // Both clocks go on while the test is preempted; the two readings at each end are a few
  // microseconds apart at most, which a loaded machine may stretch to a millisecond.
  EXPECT_NEAR(ticked, steady, 0.002 + steady * 0.001);
}

// Two threads hand a reading back and forth; each must see the other's reading at or before its
// own, wherever the scheduler runs them. The time-stamp counter is read without a fence, so the
// processor may take a reading a few hundred ticks before the load that handed the other's over;
// counters that differ between processors differ by far more than the microsecond allowed here.
TEST(ClockTest, TicksDontRunBackwardsBetweenThreads) {
  const int64_t allowed = qk_platform_ticks_per_second() / 1000000;
  std::atomic<int64_t> handed{0};
  std::atomic<int> turn{0};
  std::atomic<int64_t> worst{0};
  constexpr int kRounds = 20000;
  auto player = [&](int me) {
    for (int round = 0; round < kRounds; ++round) {
      while (turn.load(std::memory_order_acquire) != me) std::this_thread::yield();
      const int64_t now = qk_platform_ticks();
      const int64_t back = handed.load(std::memory_order_relaxed) - now;
      if (back > worst.load(std::memory_order_relaxed)) worst.store(back, std::memory_order_relaxed);
      handed.store(now, std::memory_order_relaxed);
      turn.store(1 - me, std::memory_order_release);
    }
  };
  std::thread other(player, 1);
  player(0);
  other.join();
  EXPECT_LE(worst.load(), allowed);
}

// In one thread every reading is at or after the one before.
TEST(ClockTest, TicksNeverRunBackwardsInOneThread) {
  int64_t last = qk_platform_ticks();
  for (int round = 0; round < 1000000; ++round) {
    const int64_t now = qk_platform_ticks();
    ASSERT_GE(now, last);
    last = now;
  }
}

}  // namespace
