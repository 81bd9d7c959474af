#include "qk_time.h"

#include <atomic>

#include "platform/qk_platform.h"

namespace {

// 0 until the first use; each field is written once by whichever thread starts the clock.
std::atomic<double> seconds_per_tick{0.0};
std::atomic<int64_t> start_ticks{0};
std::atomic<int64_t> ticks_per_second{0};

// Starts the clock if it hasn't been; true when this call started it.
bool start_once() {
  if (seconds_per_tick.load(std::memory_order_acquire) != 0.0) return false;
  const int64_t frequency = qk_platform_ticks_per_second();
  start_ticks.store(qk_platform_ticks(), std::memory_order_relaxed);
  ticks_per_second.store(frequency, std::memory_order_relaxed);
  seconds_per_tick.store(1.0 / double(frequency), std::memory_order_release);
  return true;
}

// The difference to the start, treated as unsigned.
uint64_t elapsed_ticks() {
  return uint64_t(qk_platform_ticks()) - uint64_t(start_ticks.load(std::memory_order_relaxed));
}

}  // namespace

double qk_time_seconds() {
  if (start_once()) return 0.0;
  return double(elapsed_ticks()) * seconds_per_tick.load(std::memory_order_relaxed);
}

int64_t qk_time_ticks() {
  if (start_once()) return 0;
  return int64_t(elapsed_ticks());
}

int64_t qk_time_frequency() {
  start_once();
  return ticks_per_second.load(std::memory_order_relaxed);
}
