#include "log/LogLine.h"

#include "platform/qk_platform.h"
#include "qk_log.h"

namespace qk {

namespace {

// Writes `value` as exactly `count` decimal digits, with leading zeros.
void put_digits(char* out, unsigned value, int count) {
  for (int i = count - 1; i >= 0; --i, value /= 10) out[i] = char('0' + value % 10);
}

void append_time(LogLineBuffer& line, unsigned format, double time, int64_t wall_clock_base) {
  const unsigned clock = format & log::TIME_LOCAL;
  if (clock == log::TIME_RELATIVE) {
    line.append_format("% 9.3f", time);
    return;
  }
  const double wall = double(wall_clock_base) + time;
  const int64_t whole = int64_t(wall);
  const unsigned millis = unsigned((wall - double(whole)) * 1000.0);
  qk_platform_calendar date{};
  const bool known = clock == log::TIME_LOCAL ? qk_platform_local_time(whole, date)
                                              : qk_platform_utc_time(whole, date);
  if (!known) return;
  const int year = date.year + 1900;
  if (year < 0 || year > 9999) {  // the rare case keeps the general formatter
    line.append_format("%04d-%02d-%02d %02d:%02d:%02d.%03u", year, date.month + 1, date.day,
                       date.hour, date.minute, date.second, millis);
    return;
  }
  // "YYYY-MM-DD hh:mm:ss.mmm", written digit by digit: this runs for every line.
  char text[23];
  put_digits(text, unsigned(year), 4);
  text[4] = '-';
  put_digits(text + 5, unsigned(date.month + 1), 2);
  text[7] = '-';
  put_digits(text + 8, unsigned(date.day), 2);
  text[10] = ' ';
  put_digits(text + 11, unsigned(date.hour), 2);
  text[13] = ':';
  put_digits(text + 14, unsigned(date.minute), 2);
  text[16] = ':';
  put_digits(text + 17, unsigned(date.second), 2);
  text[19] = '.';
  put_digits(text + 20, millis % 1000, 3);
  line.append(text, sizeof text);
}

void append_blank_if_any(LogLineBuffer& line) {
  if (!line.empty()) line.append(" ", 1);
}

}  // namespace

void format_log_line(LogLineBuffer& line, unsigned format, const LogRecord& record,
                     int64_t wall_clock_base, LogExtraInfo extra_info) {
  line.clear();
  if (format & log::TIME_LOCAL) append_time(line, format, record.time, wall_clock_base);
  if ((format & log::EXTRA_INFO) && extra_info) {
    append_blank_if_any(line);  // only a time can stand before it
    line.set_length(line.size() + extra_info(line.data() + line.size(), line.room()));
  }
  if (format & log::LEVEL) {
    append_blank_if_any(line);
    line.append(qk_log_level_name(record.level));
  }
  if (format & log::MODULE) {
    append_blank_if_any(line);
    line.append(record.module.view());
  }
  if (format & log::THREAD) {
    append_blank_if_any(line);
    line.append("(", 1);
    line.append(record.thread.view());
    line.append(")", 1);
  }
  if (!line.empty()) line.append(": ", 2);
  line.append(record.text.view());
  if (!line.empty() && line.back() != '\n') {
    if (line.room() > 0) line.append("\n", 1);
    else line.set_back('\n');
  }
}

}  // namespace qk
