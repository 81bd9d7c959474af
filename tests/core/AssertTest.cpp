// Failed assertions: the report byte for byte, the skip rules, two threads at once, the log. The
// roads that end in abort or in a debugger are in AssertAbortTest.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <regex>
#include <string>
#include <thread>

#include "ScriptedDialogs.h"
#include "TempDir.h"
#include "assert/AssertReport.h"
#include "qk_assert.h"
#include "qk_log.h"

namespace {

using qkAssert::helpers::message_buffer;
using Step = ScriptedDialogs::Step;

const std::string kWindowPrefix =
    "Assert notifications in Release build can be disabled by setting config variable "
    "\"disableReleaseAssertNotifications\" to true.\n\n";

std::string formatted(const char* format, ...) {
  message_buffer message;
  va_list args;
  va_start(args, format);
  qkAssert::helpers::format_message(message, format, args);
  va_end(args);
  return message.data();
}

message_buffer message_of(const char* text) {
  message_buffer message(text, text + std::strlen(text) + 1);
  return message;
}

// ---- The report ------------------------------------------------------------------------------

TEST(AssertReport, AMessageOf4071CharactersIsWholeAndLongerOnesEndIn4068AndDots) {
  const std::string whole(4071, 'm');
  EXPECT_EQ(formatted("%s", whole.c_str()), whole);
  EXPECT_EQ(formatted("%s", std::string(4072, 'n').c_str()), std::string(4068, 'n') + "...");
  EXPECT_EQ(formatted("%s", std::string(9000, 'o').c_str()), std::string(4068, 'o') + "...");
  EXPECT_EQ(formatted("%d of %s", 3, "x"), "3 of x");
}

TEST(AssertReport, TextReadsConditionPlaceMessageAndCallstackInThatOrder) {
  const qk::source_location_internal where{42, 3, "dir/file.cpp", "void f(int)"};
  const message_buffer message = message_of("m 7");
  size_t length = 0;
  const std::string text =
      qkAssert::helpers::build_text("a == b", where, &message, " 0# f at dir/file.cpp:42\n", length);
  const std::string head =
      "Assertion failed!\n\nCondition: \"a == b\"\n\nFile: \"dir/file.cpp\"\nLine: 42\nFunction: \"void "
      "f(int)\""
      "\n\nMessage:\n\"m 7\"";
  EXPECT_EQ(text, head + "\n\nCallstack:\n 0# f at dir/file.cpp:42\n");
  EXPECT_EQ(length, head.size());

  // No message, and an empty call stack: neither section.
  const std::string bare = qkAssert::helpers::build_text("0", where, nullptr, "", length);
  EXPECT_EQ(
      bare,
      "Assertion failed!\n\nCondition: \"0\"\n\nFile: \"dir/file.cpp\"\nLine: 42\nFunction: \"void f(int)\"");
  EXPECT_EQ(length, bare.size());
}

TEST(SkipRule, ComparesTheChosenFieldsAndNothingElse) {
  const qk::source_location_internal made{10, 1, "a.cpp", "void f()"};
  struct Case {
    uint8_t fields;
    qk::source_location_internal where;
    const char* message;
    const char* callstack;
    bool skipped;
  };
  using F = qkAssert::Field;
  const Case cases[] = {
      {F::FIELD_LINE_AND_FILE,
       {10, 9, "a.cpp", "void g()"},
       "other",
       "other",
       true},  // the column never counts
      {F::FIELD_LINE_AND_FILE, {10, 1, "b.cpp", "void f()"}, "m", "s", false},
      {F::FIELD_LINE_AND_FILE, {11, 1, "a.cpp", "void f()"}, "m", "s", false},
      {F::FIELD_FUNCTION, {99, 1, "z.cpp", "void f()"}, "other", "other", true},
      {F::FIELD_FUNCTION, {10, 1, "a.cpp", "void g()"}, "m", "s", false},
      {F::FIELD_MESSAGE, {99, 1, "z.cpp", "void g()"}, "m", "other", true},
      {F::FIELD_MESSAGE, {10, 1, "a.cpp", "void f()"}, "m2", "s", false},
      {F::FIELD_MESSAGE, {10, 1, "a.cpp", "void f()"}, nullptr, "s", false},
      {F::FIELD_CALLSTACK, {99, 1, "z.cpp", "void g()"}, "other", "s", true},
      {F::FIELD_CALLSTACK, {10, 1, "a.cpp", "void f()"}, "m", "s2", false},
      {F::FIELD_CALLSTACK, {10, 1, "a.cpp", "void f()"}, "m", "", false},
      {F::FIELD_LINE_AND_FILE | F::FIELD_FUNCTION, {10, 1, "a.cpp", "void g()"}, "m", "s", false},
      {F::FIELD_LINE_AND_FILE | F::FIELD_FUNCTION, {10, 1, "a.cpp", "void f()"}, "other", "other", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.fields) + " " + c.where.file + ":" + std::to_string(c.where.line));
    message_buffer message = message_of("m");
    std::string callstack = "s";
    const auto rule = qkAssert::helpers::make_skip_rule(c.fields, made, message, callstack);
    EXPECT_EQ(rule(c.where, c.message ? message_of(c.message) : message_buffer(), c.callstack), c.skipped);
  }
}

// ---- Reporting -------------------------------------------------------------------------------

class AssertImpl : public testing::Test {
 protected:
  // Answers the next window with Ignore, after ticking `boxes`.
  void ignore(std::vector<uint16_t> boxes = {}) {
    ScriptedDialogs::Answer steps;
    for (uint16_t id : boxes) steps.push_back({Step::tick, id});
    steps.push_back({Step::click, kIgnore});
    dialogs.answer(steps);
  }

  ScriptedDialogs dialogs;
  ScriptedDialogs::Installed installed{dialogs};
};

TEST_F(AssertImpl, TheWindowShowsTheReportByteForByteWithTheCallstack) {
  ignore();
  const std::string function = __PRETTY_FUNCTION__;
  const unsigned line = __LINE__ + 1;
  qk_assert_msg(1 + 1 == 3, "%d and %s", 7, "seven");
  ASSERT_EQ(dialogs.runs.size(), 1u);
  const ScriptedDialogs::Run& run = dialogs.runs[0];
  EXPECT_EQ(run.title, "Assertion failed!");
  const std::string head =
      kWindowPrefix + "Assertion failed!\n\nCondition: \"1 + 1 == 3\"\n\nFile: \"" __FILE__ "\"\nLine: " +
      std::to_string(line) + "\nFunction: \"" + function + "\"\n\nMessage:\n\"7 and seven\"";
  EXPECT_EQ(run.text.substr(0, head.size()), head);
  // The call stack starts at the function that failed: its second frame is the one that called
  // this test body, as a stack taken here shows it. Where the system's symbols can be read (not
  // Windows' for this compiler's debug information), the first frame is named too.
  const std::string here = qkAssert::helpers::capture_callstack(0);
  const std::string tail = run.text.substr(head.size());
  const size_t caller = here.find("\n 1# ");
  ASSERT_NE(caller, std::string::npos) << here;
  EXPECT_EQ(tail.rfind("\n\nCallstack:\n 0# ", 0), 0u) << tail;
  EXPECT_NE(tail.find(here.substr(caller, here.find('\n', caller + 1) - caller + 1)), std::string::npos)
      << tail << "\n---\n"
      << here;
  if (here.find("TestBody") < caller) {
    EXPECT_TRUE(std::regex_search(tail, std::regex("^\n\nCallstack:\n *0# [^\n]*TestBody"))) << tail;
  }
  EXPECT_EQ(run.check_boxes, (std::vector<uint16_t>{kLineAndFile, kFunction, kMessage, kCallstack}));
  EXPECT_EQ(run.buttons, (std::vector<uint16_t>{kAbort, kRetry, kIgnore, kHelp}));
}

TEST_F(AssertImpl, WithoutAFormatThereIsNoMessageAndNoMessageBox) {
  ignore();
  qk_assert(2 < 1);
  ASSERT_EQ(dialogs.runs.size(), 1u);
  EXPECT_EQ(dialogs.runs[0].text.find("Message:"), std::string::npos);
  EXPECT_EQ(dialogs.runs[0].check_boxes, (std::vector<uint16_t>{kLineAndFile, kFunction, kCallstack}));
}

// Fails one assertion at a place of the test's choosing.
void fail_at(const qk::source_location_internal& where, const char* message) {
  qkAssert::helpers::assertImpl("i < 0", where, "%s", message);
}

TEST_F(AssertImpl, IgnoringWithLineAndFileSilencesTheWindowButNotTheLog) {
  TempDir dir;
  qk_log_options options;
  ASSERT_TRUE(qk_log_start(options));
  qk_log_set_output("assert", QKCORESTATIC, qk::log::ERROR, qk::log::MESSAGE | qk::log::NO_HEADER_FOOTER);
  const qk::source_location_internal here{500, 0, "rule.cpp", "void h()"};
  ignore({kLineAndFile});
  fail_at(here, "first");
  fail_at({500, 7, "rule.cpp", "void other()"}, "second");  // same line and file: no window
  ignore();
  fail_at({500, 0, "elsewhere.cpp", "void h()"}, "third");  // the same line in another file
  qk_log_stop();
  EXPECT_EQ(dialogs.runs.size(), 2u);
  const std::string logged = TempDir::read("assert.log");
  for (const char* message : {"first", "second", "third"})
    EXPECT_NE(logged.find(std::string("Message:\n\"") + message + "\""), std::string::npos) << message;
}

TEST_F(AssertImpl, ACallstackRuleSilencesTheSameRoadOnly) {
  auto fail = [](int round) { qk_assert_msg(round < 0, "round %d", round); };
  ignore({kCallstack});
  volatile int rounds = 2;  // a loop the compiler can't unroll into two call sites
  for (int round = 0; round < rounds; ++round) fail(round);  // the second comes the same way
  ignore();
  fail(2);  // another call site
  EXPECT_EQ(dialogs.runs.size(), 2u);
}

void fail_in_a_thread() { qk_assert_msg(false, "%s", "from a thread"); }

TEST_F(AssertImpl, TwoThreadsFailingAtOnceSeeOneWindow) {
  std::atomic<int> started{0};
  dialogs.before_answer = [&] {
    // The other thread is on its way to the lock while this window stands.
    while (started.load() < 2) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  };
  ignore({kLineAndFile});
  auto failing = [&] {
    started += 1;
    fail_in_a_thread();
  };
  std::thread a(failing), b(failing);
  a.join();
  b.join();
  EXPECT_EQ(dialogs.runs.size(), 1u);
}

TEST_F(AssertImpl, DisabledNotificationsReturnWithoutAWindow) {
  qkAssert::disableReleaseAssertNotifications = 1;
  qk_assert(false);
  qkAssert::disableReleaseAssertNotifications = 0;
  EXPECT_TRUE(dialogs.runs.empty());
}

}  // namespace
