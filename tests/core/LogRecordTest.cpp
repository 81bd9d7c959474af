// The plug-in's mode: the static record, its inline text, the fatal-level handler, lost messages.
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qk_log.h"

namespace {

struct Call {
  std::string text, level;
};
std::vector<Call> calls;
int answer = 0;

int recording_handler(const char* text, const char* level_text) {
  calls.push_back({text, level_text});
  return answer;
}

class LogRecordTest : public testing::Test {
 protected:
  void SetUp() override {
    calls.clear();
    answer = 0;
    qk_log_set_fatal_handler(recording_handler);
  }
  void TearDown() override { qk_log_set_fatal_handler(qk_log_default_fatal_handler); }
};

std::string captured(void (*log)()) {
  testing::internal::CaptureStderr();
  log();
  return testing::internal::GetCapturedStderr();
}

TEST_F(LogRecordTest, InlineTextHolds255BytesAndGrowsAt256) {
  // The static record has never grown in this process: its text has its 255 bytes in place.
  const qk_log_message message = qk_log_alloc_message("LOG", qk::log::TRACE);
  ASSERT_NE(message.record, nullptr);
  EXPECT_EQ(message.capacity, 255u);
  qk_log_commit_message(message.record, 0);

  const uint64_t before = qk_log_text_reallocations();
  qk_log("LOG", qk::log::TRACE, "%s", std::string(255, 'a').c_str());
  EXPECT_EQ(qk_log_text_reallocations(), before);
  qk_log("LOG", qk::log::TRACE, "%s", std::string(256, 'a').c_str());
  EXPECT_EQ(qk_log_text_reallocations(), before + 1);
  // The grown text is kept: the next long message needs no growth.
  qk_log("LOG", qk::log::TRACE, "%s", std::string(300, 'a').c_str());
  EXPECT_EQ(qk_log_text_reallocations(), before + 1);
}

TEST_F(LogRecordTest, ALineIsCutTo65535BytesEndingInALineFeed) {
  const std::string line = captured([] {
    qk_log("LOG", qk::log::INFO, "%s", std::string(70000, 'y').c_str());
  });
  ASSERT_EQ(line.size(), 65535u);
  EXPECT_EQ(line.back(), '\n');
  EXPECT_EQ(line[line.size() - 2], 'y');
}

TEST_F(LogRecordTest, TraceNeverReachesTheConsole) {
  EXPECT_EQ(captured([] { qk_log("LUA", qk::log::TRACE, "quiet"); }), "");
  EXPECT_EQ(captured([] { qk_log("LUA", qk::log::TRACE | qk::log::RELIABLE, "quiet"); }), "");
}

TEST_F(LogRecordTest, TheHandlerRunsBeforeTheLineAndIgnoreSilencesIt) {
  testing::internal::CaptureStderr();
  qk_log("LOG", qk::log::ALERT, "first %d", 1);  // answered 0: Abort and Retry change nothing
  answer = 1;                                     // Ignore
  qk_log("LOG", qk::log::ALERT, "second");
  qk_log("LOG", qk::log::ALERT, "third");
  qk_log("LOG", qk::log::ERROR, "not fatal");
  const std::string lines = testing::internal::GetCapturedStderr();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].text, "first 1");
  EXPECT_EQ(calls[0].level, "ALERT  ");
  EXPECT_EQ(calls[1].text, "second");
  EXPECT_TRUE(qk_log_fatal_tripped());
  EXPECT_NE(lines.find("): third\n"), std::string::npos);  // written, without a question
}

TEST_F(LogRecordTest, WriteCallsTheHandlerTwiceForOneMessage) {
  testing::internal::CaptureStderr();
  qk_log_write("LUA", qk::log::ALERT, "from a script");
  answer = 1;
  qk_log_write("LUA", qk::log::ALERT, "again");  // the first call trips it: no second call
  testing::internal::GetCapturedStderr();
  ASSERT_EQ(calls.size(), 3u);
  EXPECT_EQ(calls[0].text, "from a script");
  EXPECT_EQ(calls[1].text, "from a script");
  EXPECT_EQ(calls[2].text, "again");
}

// The first thread holds the static record while its handler runs; a second thread's message in
// that moment finds no record and is lost, without a count.
TEST_F(LogRecordTest, AMessageFromASecondThreadIsLostUncounted) {
  static std::string second_line;
  qk_log_set_fatal_handler([](const char* text, const char* level) {
    calls.push_back({text, level});
    if (calls.size() == 1) {
      std::thread([] { qk_log("LOG", qk::log::ALERT, "from the second thread"); }).join();
    }
    return 0;
  });
  const uint64_t dropped = qk_log_dropped();
  const std::string lines = captured([] { qk_log("LOG", qk::log::ALERT, "from the first thread"); });
  EXPECT_NE(lines.find("from the first thread"), std::string::npos);
  EXPECT_EQ(lines.find("from the second thread"), std::string::npos);
  EXPECT_EQ(qk_log_dropped(), dropped);
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[1].text, "...message is too long...");
}

TEST_F(LogRecordTest, DebuggerOnlyModeWritesNothingToTheConsole) {
  qk_log_set_debug_string_only(true);
  EXPECT_EQ(captured([] { qk_log("LOG", qk::log::ERROR, "for the debugger"); }), "");
  qk_log_set_debug_string_only(false);
  EXPECT_NE(captured([] { qk_log("LOG", qk::log::ERROR, "for both"); }), "");
}

}  // namespace
