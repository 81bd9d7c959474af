// The log in the plug-in's mode: no records are queued and no worker runs; every line is formatted
// and dispatched on the calling thread.
#include "qk_log.h"

#include <atomic>
#include <cstring>
#include <string>

#include "platform/qk_platform.h"

// ---- Clock -----------------------------------------------------------------------------------

namespace {

std::atomic<int64_t> start_ticks{0};
std::atomic<bool> clock_started{false};

// The first use sets the start; two threads racing here write nearly the same values.
int64_t ticks_since_start() {
  int64_t now = qk_platform_ticks();
  if (!clock_started.load(std::memory_order_acquire)) {
    start_ticks.store(now, std::memory_order_relaxed);
    clock_started.store(true, std::memory_order_release);
    return 0;
  }
  return int64_t(uint64_t(now) - uint64_t(start_ticks.load(std::memory_order_relaxed)));
}

}  // namespace

int64_t qk_time_ticks() { return ticks_since_start(); }
int64_t qk_time_frequency() { return qk_platform_ticks_per_second(); }
double qk_time_seconds() {
  return double(ticks_since_start()) / double(qk_platform_ticks_per_second());
}

// ---- Levels ----------------------------------------------------------------------------------

const char* qk_log_level_name(unsigned level) {
  switch (level & 0x7FFF) {
    case qk::log::ALERT: return "ALERT  ";
    case qk::log::ERROR: return "ERROR  ";
    case qk::log::WARNING: return "WARNING";
    case qk::log::ERROR_ONCE: return "ERROR_ONCE";
    case qk::log::INFO: return "INFO   ";
    case qk::log::DEBUG: return "DEBUG  ";
    case qk::log::TRACE: return "TRACE  ";
    default: return "UNKNOWN";
  }
}

// ---- Lines -----------------------------------------------------------------------------------

namespace {

// Seconds since 1970 in whole days to a civil date (proleptic Gregorian, UTC).
void civil_from_days(int64_t days, int& year, unsigned& month, unsigned& day) {
  days += 719468;
  const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const unsigned doe = unsigned(days - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  day = doy - (153 * mp + 2) / 5 + 1;
  month = mp < 10 ? mp + 3 : mp - 9;
  year = int(yoe + era * 400 + (month <= 2));
}

constexpr size_t kMaxLine = 65535;

// The header of a FULL line: "YYYY-MM-DD hh:mm:ss.mmm LEVEL MODULE (thread): ".
std::string full_header(double time, unsigned level, const char* module) {
  const int64_t whole = int64_t(time);
  const unsigned millis = unsigned((time - double(whole)) * 1000.0);
  int year;
  unsigned month, day;
  civil_from_days(whole / 86400, year, month, day);
  const int64_t second_of_day = whole % 86400;

  char thread[128];
  qk_platform_thread_name(thread, sizeof thread);
  thread[64] = 0;  // a record keeps the first 64 bytes of the name

  char header[256];
  int n = qk_snprintf(header, sizeof header, "%04d-%02u-%02u %02d:%02d:%02d.%03u %s %.64s (%s): ",
                      year, month, day, int(second_of_day / 3600), int(second_of_day / 60 % 60),
                      int(second_of_day % 60), millis, qk_log_level_name(level),
                      module ? module : "<NULL>", thread);
  return std::string(header, size_t(n) < sizeof header ? size_t(n) : sizeof header - 1);
}

void dispatch(const char* module, unsigned level, const char* text, size_t size) {
  if (level & qk::log::TRACE) return;  // TRACE never reaches the console
  std::string line = full_header(qk_time_seconds(), level, module);
  line.append(text, size);
  if (line.size() > kMaxLine) line.resize(kMaxLine);
  if (!line.empty() && line.back() != '\n') {
    if (line.size() == kMaxLine) line.back() = '\n';
    else line.push_back('\n');
  }
  qk_platform_write_stderr(line.data(), line.size());
}

}  // namespace

void qk_log_v(const char* module, unsigned level, const char* format, va_list args) {
  char inline_text[256];
  va_list again;
  va_copy(again, args);
  int needed = qk_vsnprintf(inline_text, sizeof inline_text, format, args);
  if (needed < 0) needed = 0;
  if (size_t(needed) < sizeof inline_text) {
    dispatch(module, level, inline_text, size_t(needed));
  } else {
    std::string text(size_t(needed) + 1, '\0');
    qk_vsnprintf(text.data(), text.size(), format, again);
    dispatch(module, level, text.data(), size_t(needed));
  }
  va_end(again);
}

void qk_log(const char* module, unsigned level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  qk_log_v(module, level, format, args);
  va_end(args);
}

void qk_log_write(const char* module, unsigned level, const char* text) {
  dispatch(module, level, text, std::strlen(text));
}
