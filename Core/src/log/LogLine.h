// Formatting of one log line from a record, by a format word (qk::log::Format).
//
// Pieces in this order, each cut to the room left in the line: the time (0x80 alone: seconds of
// the log's clock; 0x1 or 0x81: wall-clock date and time in UTC or local time), the extra info of
// the callback (0x200), the level's text (0x2), the module (0x4), the thread in parentheses (0x8),
// ": " when any of these stands there, and the text. A line that isn't empty ends in a line feed:
// appended, or in place of the last byte when the line is full. Reentrant.
#pragma once

#include <cstddef>
#include <cstdint>

#include "FixedString.h"
#include "log/LogRecord.h"

namespace qk {

// The longest line: 65,535 bytes.
using LogLineBuffer = FixedString<65535>;

// Writes at most `room` bytes of extra information to `target` and answers the count.
using LogExtraInfo = size_t (*)(char* target, size_t room);

// `wall_clock_base` is added to the record's time for the wall-clock pieces.
void format_log_line(LogLineBuffer& line, unsigned format, const LogRecord& record,
                     int64_t wall_clock_base, LogExtraInfo extra_info);

}  // namespace qk
