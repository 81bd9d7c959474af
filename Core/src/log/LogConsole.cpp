#include "log/LogConsole.h"

#include <atomic>

#include "log/LogOutputs.h"
#include "log/LogState.h"
#include "platform/qk_platform.h"
#include "qk_log.h"

namespace qk {

namespace {

LogLineBuffer line;
char16_t wide_line[65536];  // a line of 65,535 bytes and its terminator fit in any case
std::atomic<unsigned> stderr_levels{0xFFFF};

void format_line(const LogRecord& record, const LogLineSettings& settings) {
  format_log_line(line, settings.format, record, settings.wall_clock_base, settings.extra_info);
}

void to_debugger() {
  if (!qk_platform_debug_output_open()) return;
  if (qk_platform_utf8_to_utf16(line.c_str(), -1, wide_line, 65536) > 0)
    qk_platform_debug_output(wide_line);
}

}  // namespace

int log_console_colour(unsigned level) {
  switch (level) {
    case log::ALERT: return 5;
    case log::ERROR: return 12;
    case log::WARNING: return 14;
    case log::ERROR_ONCE: return 13;
    case log::INFO: return 15;
    case log::DEBUG: return 7;
    case log::TRACE: return 2;
    default: return 15;
  }
}

void dispatch_log_record(const LogRecord& record, const LogLineSettings& settings) {
  write_log_outputs(record, settings, log_immediate());
  if (record.level & log::TRACE) return;
  format_line(record, settings);
  to_debugger();
  // RELIABLE counts as a bit of its own: a mask with it lets every reliable line through.
  if (!(record.level & stderr_levels.load())) return;
  if (!qk_platform_stderr_is_console()) {
    qk_platform_write_stderr(line.data(), line.size());
    return;
  }
  qk_platform_set_console_colour(log_console_colour(record.level));
  qk_platform_write_stderr(line.data(), line.size());
  qk_platform_set_console_colour(7);
}

void set_log_stderr_levels(unsigned levels) { stderr_levels.store(levels); }

void write_log_record_to_debugger(const LogRecord& record, const LogLineSettings& settings) {
  format_line(record, settings);
  to_debugger();
}

}  // namespace qk
