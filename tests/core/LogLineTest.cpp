// The log's line: its pieces by format word, its cut, the level texts and the clock.
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <string>
#include <thread>

#include "TestPlatform.h"
#include "log/LogConsole.h"
#include "log/LogLine.h"
#include "platform/qk_threads.h"
#include "qk_log.h"

namespace {

std::string line_of(unsigned format, const qk::LogRecord& record, int64_t base = 0,
                    qk::LogExtraInfo extra = nullptr) {
  static qk::LogLineBuffer line;
  qk::format_log_line(line, format, record, base, extra);
  return std::string(line.view());
}

struct Record : qk::LogRecord {
  Record(unsigned lvl, const char* mod, const char* thr, double t, std::string_view txt) {
    level = lvl;
    module.assign(mod);
    thread.assign(thr);
    time = t;
    text.assign(txt);
  }
};

TEST(LogLine, FullFormatReadsDateLevelModuleThreadAndText) {
  const Record record(qk::log::ALERT, QKCORESTATIC, "4711", 12.345678,
                      "Out of memory in qk_malloc for 1024 bytes.");
  EXPECT_EQ(line_of(qk::log::FULL, record),
            "1970-01-01 00:00:12.345 ALERT   QKCORESTATIC (4711): "
            "Out of memory in qk_malloc for 1024 bytes.\n");
  // The wall-clock base moves the date: 2024-02-29 23:59:59 UTC.
  EXPECT_EQ(line_of(qk::log::TIME | qk::log::LEVEL, record, 1709251187).substr(0, 33),
            "2024-02-29 23:59:59.345 ALERT  : ");
}

TEST(LogLine, PiecesFollowTheFormatWord) {
  const Record record(qk::log::ERROR_ONCE, "LUA", "main", 3.5, "text\n");
  EXPECT_EQ(line_of(qk::log::MESSAGE, record), "text\n");  // already ends in a line feed
  EXPECT_EQ(line_of(qk::log::TIME_RELATIVE | qk::log::MODULE, record), "    3.500 LUA: text\n");
  EXPECT_EQ(line_of(qk::log::THREAD, record), "(main): text\n");
  EXPECT_EQ(line_of(qk::log::LEVEL | qk::log::EXTRA_INFO, record,  0,
                    [](char* target, size_t room) -> size_t {
                      if (room < 3) return 0;
                      target[0] = 'f', target[1] = '=', target[2] = '7';
                      return 3;
                    }),
            "f=7 ERROR_ONCE: text\n");
  const Record empty(qk::log::INFO, "LOG", "main", 0.0, "");
  EXPECT_EQ(line_of(qk::log::MESSAGE, empty), "");  // the empty line stays empty
}

TEST(LogLine, AFullLineEndsInALineFeedInPlaceOfItsLastByte) {
  const Record record(qk::log::INFO, "LOG", "main", 0.0, std::string(70000, 'z'));
  const std::string line = line_of(qk::log::MESSAGE, record);
  ASSERT_EQ(line.size(), 65535u);
  EXPECT_EQ(line.find_first_not_of('z'), 65534u);
  EXPECT_EQ(line.back(), '\n');
}

TEST(LogLine, ConsoleColourIsChosenOnTheWholeWord) {
  EXPECT_EQ(qk::log_console_colour(qk::log::ALERT), 5);
  EXPECT_EQ(qk::log_console_colour(qk::log::ERROR), 12);
  EXPECT_EQ(qk::log_console_colour(qk::log::ERROR | qk::log::RELIABLE), 15);
  EXPECT_EQ(qk::log_console_colour(qk::log::TRACE), 2);
}

TEST(LogLine, ANullModuleIsNamed) {
  testing::internal::CaptureStderr();
  qk_log(nullptr, qk::log::WARNING, "x");
  EXPECT_NE(testing::internal::GetCapturedStderr().find(" WARNING <NULL> ("), std::string::npos);
}

TEST(LogLevelName, PadsToSevenAndNamesTheUnknown) {
  EXPECT_STREQ(qk_log_level_name(qk::log::ALERT), "ALERT  ");
  EXPECT_STREQ(qk_log_level_name(qk::log::ERROR_ONCE), "ERROR_ONCE");
  EXPECT_STREQ(qk_log_level_name(qk::log::INFO | qk::log::RELIABLE), "INFO   ");
  EXPECT_STREQ(qk_log_level_name(0), "UNKNOWN");
  EXPECT_STREQ(qk_log_level_name(4), "UNKNOWN");
  EXPECT_STREQ(qk_log_level_name(0x30), "UNKNOWN");
}

// Linux threads inherit the process's name; only a name of the thread's own is shown, else the
// decimal thread id. Each thread fills its name at its first message, so each case has a new one.
TEST(LogThread, AnUnnamedThreadShowsItsDecimalIdANamedOneItsName) {
  uint32_t unnamed = 0;
  testing::internal::CaptureStderr();
  std::thread([&] {
    unnamed = qk_platform_thread_id();
    qk_log("T", qk::log::WARNING, "unnamed");
  }).join();
  std::thread([] {
    qk_test_set_thread_name("loader-7");
    qk_log("T", qk::log::WARNING, "named");
  }).join();
  const std::string lines = testing::internal::GetCapturedStderr();
  EXPECT_NE(lines.find("T (" + std::to_string(unnamed) + "): unnamed\n"), std::string::npos) << lines;
  EXPECT_NE(lines.find("T (loader-7): named\n"), std::string::npos) << lines;
}

// In a fresh process (the threadsafe style runs the test anew): the first use answers 0.
TEST(LogClockDeathTest, FirstUseAnswersZeroThenRuns) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        const double first = qk_time_seconds();
        double later = qk_time_seconds();
        while (later == 0.0) later = qk_time_seconds();
        std::exit(first == 0.0 && later > 0.0 && qk_time_frequency() > 0 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
