// The console and debugger channel of the log: a record's line, in the console format, to the
// debugger channel and to standard error (coloured by level on a console). TRACE never reaches
// either. The line is built in static buffers without a lock: the log lets one thread at a time
// in, except in immediate mode, where two threads can overlap here.
#pragma once

#include <cstdint>

#include "log/LogLine.h"
#include "log/LogRecord.h"

namespace qk {

struct LogLineSettings {
  unsigned format;
  int64_t wall_clock_base;
  LogExtraInfo extra_info;
};

// The console attribute of a level word: the level's colour, 15 for anything else (also a level
// with RELIABLE added).
int log_console_colour(unsigned level);

// Dispatches a record: outputs, then (unless TRACE) the debugger channel and standard error.
void dispatch_log_record(const LogRecord& record, const LogLineSettings& settings);
// The levels whose lines reach standard error (all at first); the debugger channel is unaffected.
void set_log_stderr_levels(unsigned levels);
// The uninitialised debugger-only mode: the line to the debugger channel alone.
void write_log_record_to_debugger(const LogRecord& record, const LogLineSettings& settings);

}  // namespace qk
