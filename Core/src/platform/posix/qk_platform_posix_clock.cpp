// The monotonic tick counter on POSIX systems.
//
// Each allocation of every Lua state reads this counter twice (the accounting times its
// allocator), so a reading must cost a few nanoseconds, as the performance counter of other
// systems does. clock_gettime costs 20 to 40 ns on virtual machines (more than the pool's whole
// allocation), so where the processor's time-stamp counter is invariant (it runs at one rate
// in every power state and on every core, which the processor reports in CPUID leaf 0x80000007)
// the counter is that register itself, and its rate is measured once against CLOCK_MONOTONIC
// when the counter is first used: two readings of both clocks about half a millisecond apart,
// each pair taken tightly enough to trust (a process that is preempted between the two pairs
// still measures the right rate, since both clocks go on). Elsewhere, and when the measurement
// fails, the counter is CLOCK_MONOTONIC in nanoseconds. QK_CLOCK=monotonic in the environment
// chooses CLOCK_MONOTONIC.
//
// The register is read without a fence (a fence doubles the cost): the processor may take a
// reading slightly before the instructions ahead of it have finished, so a reading that another
// thread's reading reached through memory can be a few hundred ticks below it. Readings in one
// thread never go back.
#include "platform/qk_platform.h"

#include <cstdlib>
#include <cstring>
#include <ctime>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#include <x86intrin.h>
#define QK_HAVE_TSC 1
#endif

namespace {

int64_t monotonic_ns() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t(now.tv_sec) * 1000000000 + now.tv_nsec;
}

struct Counter {
  bool tsc = false;
  int64_t frequency = 1000000000;
};

#if QK_HAVE_TSC

bool invariant_tsc() {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (!__get_cpuid(0x80000000, &eax, &ebx, &ecx, &edx) || eax < 0x80000007) return false;
  if (!__get_cpuid(0x80000007, &eax, &ebx, &ecx, &edx)) return false;
  return (edx & (1u << 8)) != 0;
}

// One reading of both clocks: the time-stamp counter halfway between the two readings that
// bracket CLOCK_MONOTONIC, from the tightest of a few tries.
struct Pair {
  uint64_t tsc;
  int64_t ns;
};
Pair read_pair() {
  Pair best{0, 0};
  uint64_t best_width = UINT64_MAX;
  for (int attempt = 0; attempt < 8; ++attempt) {
    const uint64_t before = __rdtsc();
    const int64_t ns = monotonic_ns();
    const uint64_t after = __rdtsc();
    if (after >= before && after - before < best_width) {
      best_width = after - before;
      best = {before + (after - before) / 2, ns};
    }
  }
  return best;
}

Counter measure_tsc() {
  const Pair first = read_pair();
  const timespec pause{0, 500000};
  nanosleep(&pause, nullptr);
  Pair last = read_pair();
  while (last.ns - first.ns < 400000) last = read_pair();  // a short sleep still counts its whole time
  if (last.tsc <= first.tsc) return {};
  const double rate = double(last.tsc - first.tsc) * 1e9 / double(last.ns - first.ns);
  if (!(rate >= 1e6 && rate < 1e11)) return {};
  return {true, int64_t(rate + 0.5)};
}

#endif

Counter choose() {
#if QK_HAVE_TSC
  const char* chosen = std::getenv("QK_CLOCK");
  if (!(chosen && std::strcmp(chosen, "monotonic") == 0) && invariant_tsc()) return measure_tsc();
#endif
  return {};
}

// Chosen once, by whichever call comes first.
const Counter& counter() {
  static const Counter chosen = choose();
  return chosen;
}

}  // namespace

int64_t qk_platform_ticks() {
#if QK_HAVE_TSC
  if (counter().tsc) return int64_t(__rdtsc());
#endif
  return monotonic_ns();
}

int64_t qk_platform_ticks_per_second() { return counter().frequency; }
