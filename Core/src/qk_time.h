// The log's monotonic clock. Whichever of the three functions is called first starts it, and its
// answer for the time is 0; later answers count from there. The start isn't locked: two threads
// starting it at once both write nearly the same values. Safe from any thread.
#pragma once

#include <cstdint>

// Seconds since the first use of the clock.
double qk_time_seconds();
// Ticks since the first use of the clock.
int64_t qk_time_ticks();
// Ticks per second.
int64_t qk_time_frequency();
