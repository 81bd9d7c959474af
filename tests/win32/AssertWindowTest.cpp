// The assertion window as a real window (needs a display: Xvfb under Wine): its controls, the
// gestures that must not close it, its help window, and the skip rule an Ignore with a check box
// makes. A second thread plays the person at the screen.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "WindowDriver.h"
#include "assert/AssertDialogs.h"
#include "qk_assert.h"

namespace {

using namespace win32_test;

constexpr int kAbort = 3, kIgnore = 5, kHelp = 9, kLineAndFile = 1001;

class AssertWindowTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!has_display()) GTEST_SKIP() << "no display to show windows on (run under xvfb-run)";
  }
};

int count_class(const std::vector<Control>& controls, const wchar_t* window_class) {
  return int(std::count_if(controls.begin(), controls.end(), [&](const Control& c) {
    return _wcsicmp(c.window_class.c_str(), window_class) == 0;
  }));
}

TEST_F(AssertWindowTest, ShowsItsControlsAndOffersMessageAndCallstackOnlyWhenThere) {
  for (const bool both : {false, true}) {
    std::vector<Control> seen;
    std::thread person([&] {
      HWND window = wait_for_dialog(L"Assertion failed!");
      if (!window) return;
      seen = controls_of(window);
      click(window, kAbort);
    });
    const qkAssert::choice answer = qkAssert::show("Condition: \"x\"\nsecond line", both, both);
    person.join();
    EXPECT_EQ(answer.action, qkAssert::ACTION_ABORT);
    // Three buttons, the check boxes, Help, the report and the label.
    ASSERT_EQ(seen.size(), both ? 10u : 8u);
    EXPECT_EQ(count_class(seen, L"Button"), both ? 8 : 6);
    EXPECT_EQ(count_class(seen, L"Edit"), 1);
    EXPECT_EQ(count_class(seen, L"Static"), 1);
    std::vector<int> ids;
    for (const Control& c : seen) ids.push_back(c.id);
    const auto offered = [&](int id) { return std::find(ids.begin(), ids.end(), id) != ids.end(); };
    EXPECT_EQ(offered(1003), both) << "the message's check box";
    EXPECT_EQ(offered(1004), both) << "the call stack's check box";
    // The report's bare line feed reached the edit box as carriage return and line feed.
    for (const Control& c : seen) {
      if (_wcsicmp(c.window_class.c_str(), L"Edit") == 0) {
        EXPECT_NE(c.text.find(L"\"x\"\r\nsecond line"), std::wstring::npos);
      }
    }
  }
}

TEST_F(AssertWindowTest, EscAndCloseLeaveItStandingAndHelpComesAndGoesOverIt) {
  bool stood_escape = false, stood_close = false, help_shown = false, help_gone = false, stood_help = false;
  std::thread person([&] {
    HWND window = wait_for_dialog(L"Assertion failed!");
    if (!window) return;
    press_escape(window);
    stood_escape = still_standing(window);
    request_close(window);
    stood_close = still_standing(window);
    click(window, kHelp);
    if (HWND help = wait_for_dialog(L"Assertion window help")) {
      help_shown = true;
      press_escape(help);  // the help window can be closed
      help_gone = wait_until_gone(help);
    }
    stood_help = still_standing(window);
    click(window, kAbort);
  });
  const qkAssert::choice answer = qkAssert::show("report", false, false);
  person.join();
  EXPECT_TRUE(stood_escape);
  EXPECT_TRUE(stood_close);
  EXPECT_TRUE(help_shown);
  EXPECT_TRUE(help_gone);
  EXPECT_TRUE(stood_help);
  EXPECT_EQ(answer.action, qkAssert::ACTION_ABORT);
}

// Fails an assertion at one place each call.
void fail_here() { qk_assert_fail("at the same place"); }
void fail_elsewhere() { qk_assert_fail("somewhere else"); }

TEST_F(AssertWindowTest, IgnoreWithLineAndFileSkipsTheSamePlaceOnly) {
  std::atomic<int> windows{0};
  std::atomic<bool> done{false};
  // The first window gets "Line and file" ticked before Ignore; any later one just Ignore, so
  // that a window the rule should have kept away still can't hang the test.
  std::thread person([&] {
    while (!done) {
      HWND window = find_dialog(L"Assertion failed!");
      if (!window) {
        Sleep(20);
        continue;
      }
      if (windows++ == 0) click(window, kLineAndFile);
      click(window, kIgnore);
      wait_until_gone(window);
    }
  });
  fail_here();
  EXPECT_EQ(windows, 1);
  fail_here();  // skipped by the rule: no window
  EXPECT_EQ(windows, 1);
  fail_elsewhere();  // another line of the same file: the window again
  EXPECT_EQ(windows, 2);
  done = true;
  person.join();
}

}  // namespace
