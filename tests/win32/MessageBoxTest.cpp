// The Windows host services: the catalogue's failure reaches the message box, which a test hook
// answers in its place, and the ANSI widening of the loader's path. (The real box is shown in
// MessageBoxWindowTest.cpp.)
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "MaterialsList.h"
#include "WindowsHostServices.h"
#include "platform/win32/qk_message_box_win32.h"

namespace {

struct Box {
  std::string text, caption;
  unsigned style;
};
std::vector<Box> answered;

int answer_box(const char16_t* text, const char16_t* caption, unsigned style) {
  answered.push_back({qk_to_utf8(text), qk_to_utf8(caption), style});
  return 1;  // IDOK
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
