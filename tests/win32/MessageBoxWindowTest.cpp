// The real message box (needs a display: Xvfb under Wine): it shows its text under its caption
// and answers the button that closed it, which a second thread presses.
#include <gtest/gtest.h>

#include <thread>

#include "WindowDriver.h"
#include "platform/win32/qk_message_box_win32.h"

namespace {

using namespace win32_test;

TEST(MessageBoxWindow, ShowsItsTextAndAnswersTheButtonPressed) {
  if (!has_display()) GTEST_SKIP() << "no display to show windows on (run under xvfb-run)";
  ASSERT_EQ(qk_platform_set_message_box_hook(nullptr), nullptr);
  std::wstring shown;
  std::thread person([&] {
    HWND box = wait_for_dialog(L"Texture uniforms");
    if (!box) return;
    for (const Control& c : controls_of(box))
      if (c.text.find(L"used:") != std::wstring::npos) shown = c.text;
    click(box, IDNO);
  });
  const int answer =
      qk_platform_message_box(u"used:\r\na=1", u"Texture uniforms", MB_YESNO | MB_ICONINFORMATION, true);
  person.join();
  EXPECT_EQ(answer, IDNO);
  EXPECT_EQ(shown, L"used:\r\na=1");
}

}  // namespace
