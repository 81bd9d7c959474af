// The artist's message boxes on Windows: the catalogue's failure reaches MessageBoxW through the
// Windows host services, a test hook answers in the box's place, and the real box (with a
// display) shows the text and closes with its button. The ANSI widening of the loader's path.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "MaterialsList.h"
#include "WindowDriver.h"
#include "WindowsHostServices.h"
#include "platform/win32/qk_message_box_win32.h"

namespace {

using namespace win32_test;

struct Box {
  std::string text, caption;
  unsigned style;
};
std::vector<Box> answered;

int answer_box(const char16_t* text, const char16_t* caption, unsigned style) {
  answered.push_back({qk_to_utf8(text), qk_to_utf8(caption), style});
  return IDOK;
}

// Installs the Windows services for one test.
class WindowsServicesTest : public testing::Test {
 protected:
  void SetUp() override { setHostServices(&services); }
  void TearDown() override {
    setHostServices(nullptr);
    qk_platform_set_message_box_hook(nullptr);
  }
  WindowsHostServices services{"C:\\no-such-folder"};
};

TEST_F(WindowsServicesTest, ACatalogueFailureIsOneErrorBoxThatTheHookAnswers) {
  answered.clear();
  EXPECT_EQ(qk_platform_set_message_box_hook(answer_box), nullptr);
  MaterialsList list;
  EXPECT_EQ(list.findMaterial("default"), nullptr);
  EXPECT_EQ(list.findMaterial("default"), nullptr);  // a failed load isn't retried: no second box
  ASSERT_EQ(answered.size(), 1u);
  EXPECT_EQ(answered[0].caption, "Error");
  EXPECT_EQ(answered[0].style, 48u);  // MB_OK | MB_ICONEXCLAMATION
  EXPECT_EQ(answered[0].text.rfind("Can't load file: C:\\no-such-folder/materials.lua. Reason: ", 0), 0u)
      << answered[0].text;
  EXPECT_EQ(qk_platform_set_message_box_hook(nullptr), &answer_box);
}

TEST_F(WindowsServicesTest, TheRealBoxShowsTheTextAndAnswersItsButton) {
  if (!has_display()) GTEST_SKIP() << "no display to show windows on (run under xvfb-run)";
  std::wstring shown;
  std::thread person([&] {
    HWND box = wait_for_dialog(L"Texture uniforms");
    if (!box) return;
    for (const Control& c : controls_of(box))
      if (c.text.find(L"used:") != std::wstring::npos) shown = c.text;
    click(box, IDOK);
  });
  const int answer =
      hostServices().messageBox(u"used:\r\na=1", u"Texture uniforms", MB_OK | MB_ICONINFORMATION);
  person.join();
  EXPECT_EQ(answer, IDOK);
  EXPECT_EQ(shown, L"used:\r\na=1");
}

TEST_F(WindowsServicesTest, TheLoaderPathIsWidenedOneUnitPerByte) {
  const qk::wstring ascii = hostServices().ansiToWide("C:\\plugcfg/materials.lua");
  EXPECT_EQ(qk_to_utf8(ascii.c_str()), "C:\\plugcfg/materials.lua");
  // A byte beyond ASCII is a character of the code page, which UTF-8 then spells in two bytes.
  const qk::wstring latin = hostServices().ansiToWide("\xE9");
  ASSERT_EQ(latin.size(), 1u);
  EXPECT_NE(latin[0], u'\0');
  EXPECT_EQ(qk_to_utf8(latin.c_str()).size(), 2u);
}

}  // namespace
