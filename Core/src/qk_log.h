// qk_log: the one reporting channel of the core and of the plug-in.
//
// A message is formatted (stb_sprintf) and written as one line. Nothing here sets the log up, so it
// runs in the plug-in's mode: each line that isn't TRACE is dispatched on the calling thread to
// standard error. TRACE never reaches the console. Safe to call from any thread and from static
// initialisers; qk_log never fails and reports nothing to its caller.
//
// A line in the FULL format reads: time (UTC, from the log's monotonic clock), level, module,
// thread in parentheses, ": " and the text, for example
//   1970-01-01 00:00:12.345 ALERT   QKCORESTATIC (4711): Out of memory in qk_malloc for 1024 bytes.
#pragma once

#include <cstdarg>
#include <cstdint>

#include "qk_format.h"

// The module name of the core library.
inline constexpr char QKCORESTATIC[] = "QKCORESTATIC";

namespace qk::log {

// Levels are bits of one word; RELIABLE may be or-ed to any level.
enum Level : unsigned {
  ALERT = 0x2,
  ERROR = 0x8,
  WARNING = 0x10,
  ERROR_ONCE = 0x20,
  INFO = 0x40,
  DEBUG = 0x80,
  TRACE = 0x100,
  ALL = 0xFF,
  ALL_LEVELS = 0xFF,
  RELIABLE = 0x8000,
};

// The format word of a line.
enum Format : unsigned {
  MESSAGE = 0,
  TIME = 0x1,  // wall-clock time in UTC; the name TIME_UTC is taken by <time.h>
  LEVEL = 0x2,
  MODULE = 0x4,
  THREAD = 0x8,
  TIME_RELATIVE = 0x80,
  TIME_LOCAL = 0x81,
  SKIP_DUPLICATES = 0x100,
  FULL = 0x10F,
  EXTRA_INFO = 0x200,
  MODELTIME = 0x200,
  NO_HEADER_FOOTER = 0x4000,
  BACKUP = 0x8000,
};

}  // namespace qk::log

// Seconds since the first use of the log's clock; the first call answers 0.
double qk_time_seconds();
// Ticks since the first use of the clock, and ticks per second.
int64_t qk_time_ticks();
int64_t qk_time_frequency();

void qk_log(const char* module, unsigned level, const char* format, ...) QK_PRINTF_FORMAT(3, 4);
void qk_log_v(const char* module, unsigned level, const char* format, va_list args);
// Logs `text` as it stands, without formatting.
void qk_log_write(const char* module, unsigned level, const char* text);

// The level's text in a line, padded to seven characters ("ERROR_ONCE" is the one longer word);
// "UNKNOWN" for anything that isn't exactly one level once RELIABLE is masked off.
const char* qk_log_level_name(unsigned level);
