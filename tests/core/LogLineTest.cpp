// The log's line: the FULL format on standard error, and what never reaches it.
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "qk_log.h"

namespace {

std::string logged(unsigned level, const char* module, const char* text) {
  ::testing::internal::CaptureStderr();
  qk_log(module, level, "%s", text);
  return ::testing::internal::GetCapturedStderr();
}

TEST(LogLine, IsWrittenInTheFullFormat) {
  const std::string line = logged(qk::log::ERROR, QKCORESTATIC, "Something failed.");
  EXPECT_TRUE(std::regex_match(
      line, std::regex("1970-01-01 \\d\\d:\\d\\d:\\d\\d\\.\\d{3} ERROR   QKCORESTATIC \\([^)]+\\): "
                       "Something failed\\.\n")))
      << line;
}

TEST(LogLine, TraceNeverReachesTheConsole) {
  EXPECT_EQ(logged(qk::log::TRACE, "LUA", "quiet"), "");
  EXPECT_EQ(logged(qk::log::TRACE | qk::log::RELIABLE, "LUA", "quiet"), "");
}

TEST(LogLine, ANullModuleIsNamed) {
  EXPECT_NE(logged(qk::log::WARNING, nullptr, "x").find(" WARNING <NULL> ("), std::string::npos);
}

TEST(LogLine, ALongMessageIsKeptWhole) {
  const std::string text(5000, 'x');
  const std::string line = logged(qk::log::INFO, "LOG", text.c_str());
  EXPECT_NE(line.find(": " + text + "\n"), std::string::npos);
}

TEST(LogLevelName, PadsToSevenAndNamesTheUnknown) {
  EXPECT_STREQ(qk_log_level_name(qk::log::ALERT), "ALERT  ");
  EXPECT_STREQ(qk_log_level_name(qk::log::ERROR_ONCE), "ERROR_ONCE");
  EXPECT_STREQ(qk_log_level_name(qk::log::INFO | qk::log::RELIABLE), "INFO   ");
  EXPECT_STREQ(qk_log_level_name(0), "UNKNOWN");
  EXPECT_STREQ(qk_log_level_name(0x30), "UNKNOWN");
}

TEST(LogClock, StartsAtZeroAndRuns) {
  // Other tests of this program may have used the clock already; the clock never goes back.
  const double first = qk_time_seconds();
  EXPECT_GE(first, 0.0);
  EXPECT_GE(qk_time_seconds(), first);
}

}  // namespace
