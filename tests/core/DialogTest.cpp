// The assertion's dialogs: the template's bytes, the layouts, the screen, the help text and the
// window procedure's reactions.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "ScriptedDialogs.h"
#include "assert/AssertDialogs.h"
#include "assert/CustomWinDialogBox.h"

namespace {

using qkAssert::CustomWinDialogBox;
using qkAssert::DialogFont;

// A control of a template, read back from its bytes.
struct Item {
  uint32_t style;
  int16_t x, y, cx, cy;
  uint32_t id, window_class;
  std::u16string text;
};

class TemplateReader {
 public:
  explicit TemplateReader(const std::vector<uint8_t>& bytes) : b_(bytes) {}

  uint16_t u16() {
    const uint16_t value = uint16_t(b_.at(at_) | b_.at(at_ + 1) << 8);
    at_ += 2;
    return value;
  }
  uint32_t u32() {
    const uint32_t low = u16();
    return low | uint32_t(u16()) << 16;
  }
  std::u16string text() {
    std::u16string t;
    for (uint16_t unit; (unit = u16()) != 0;) t += char16_t(unit);
    return t;
  }
  // The items after the header, whose count stands at byte 16.
  std::vector<Item> items() {
    at_ = 16;
    const uint16_t count = u16();
    at_ = 30;  // after x, y, cx, cy, menu and class
    text();    // title
    at_ += 6;  // pointsize, weight, italic, charset
    text();    // typeface
    std::vector<Item> result;
    for (uint16_t i = 0; i < count; ++i) {
      at_ = (at_ + 3) & ~size_t(3);
      u32(), u32();  // helpID, exStyle
      Item item{};
      item.style = u32();
      item.x = int16_t(u16()), item.y = int16_t(u16()), item.cx = int16_t(u16()), item.cy = int16_t(u16());
      item.id = u32();
      item.window_class = u32();
      item.text = text();
      EXPECT_EQ(u16(), 0u);  // extraCount
      result.push_back(item);
    }
    EXPECT_EQ(at_, b_.size());
    return result;
  }

 private:
  const std::vector<uint8_t>& b_;
  size_t at_ = 0;
};

TEST(CustomWinDialogBox, TemplateBytesAreTheExtendedFormLaidOutByHand) {
  CustomWinDialogBox box("T", {1, 2, 30, 40}, false, 0, false, false, DialogFont{-13, 700, 1, 0, u"Ab"}, 96);
  box.add_button(-5, 3, 10, 14, 7, "&Go", true, {}, true, true);  // x counted from the right edge
  box.add_text(2, -4, 8, 9, "a\nb", true);                        // y from the lower one
  const std::vector<uint8_t> expected = {
      // DLGTEMPLATEEX: version, signature, help id, extended style 0x20300, style 0x10CC02C0
      0x01, 0x00, 0xFF, 0xFF, 0, 0, 0, 0, 0x00, 0x03, 0x02, 0x00, 0xC0, 0x02, 0xCC, 0x10,
      // two items at (1, 2), 30 by 40, no menu, no class, the title "T"
      0x02, 0x00, 0x01, 0x00, 0x02, 0x00, 0x1E, 0x00, 0x28, 0x00, 0, 0, 0, 0, 'T', 0, 0, 0,
      // 10 points (-13 pixels at 96 dots per inch, rounded), weight 700, italic, charset 0, "Ab"
      0x0A, 0x00, 0xBC, 0x02, 0x01, 0x00, 'A', 0, 'b', 0, 0, 0, 0, 0,  // to a multiple of 4
      // the button: group, tab stop, default; at (25, 3), 10 by 14, id 7, the button class, "&Go"
      0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0x00, 0x03, 0x50, 0x19, 0x00, 0x03, 0x00, 0x0A, 0x00, 0x0E, 0x00, 0x07, 0,
      0, 0, 0xFF, 0xFF, 0x80, 0x00, '&', 0, 'G', 0, 'o', 0, 0, 0, 0, 0, 0, 0,  // to a multiple of 4
      // the multi-line text at (2, 36), 8 by 9, no id, the edit class, "a\r\nb"
      0, 0, 0, 0, 0, 0, 0, 0, 0x44, 0x08, 0xA3, 0x50, 0x02, 0x00, 0x24, 0x00, 0x08, 0x00, 0x09, 0x00, 0xFF,
      0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x81, 0x00, 'a', 0, '\r', 0, '\n', 0, 'b', 0, 0, 0, 0, 0};
  EXPECT_EQ(box.template_bytes(), expected);

  // Without a close and hidden: the bare style; a positive height counts as points already.
  const CustomWinDialogBox hidden("", {}, true, 0, false, true, DialogFont{9, 400, 0, 1, u""}, 96);
  EXPECT_EQ(std::vector<uint8_t>(hidden.template_bytes().begin() + 12, hidden.template_bytes().begin() + 16),
            (std::vector<uint8_t>{0xC0, 0x00, 0xC4, 0x00}));
  EXPECT_EQ(hidden.template_bytes()[32], 9);
}

TEST(CustomWinDialogBox, TextsGetCarriageReturnsBeforeBareLineFeeds) {
  EXPECT_EQ(qkAssert::dialog_text("no break"), u"no break");
  EXPECT_EQ(qkAssert::dialog_text("a\r\nb"), u"a\r\nb");  // a pair is kept
  EXPECT_EQ(qkAssert::dialog_text("a\nb\n"), u"a\r\nb\r\n");
  EXPECT_EQ(qkAssert::dialog_text("\nx"), u"\r\nx");
  // Matches don't overlap: a line feed whose character before was taken by the last one stays bare.
  EXPECT_EQ(qkAssert::dialog_text("a\n\nb"), u"a\r\n\nb");
  EXPECT_EQ(qkAssert::dialog_text("\n\n"), u"\n\r\n");
  EXPECT_EQ(qkAssert::dialog_text("\xC3\xA9\n"), u"\u00E9\r\n");
}

TEST(CentredRect, IsTheScreenTimesTheFractionsInItsMiddle) {
  ScriptedDialogs system;  // 1920 by 1080 pixels; 1000 units are 1500 by 1625: 1280 by 665 units
  const qkAssert::ScreenUnits screen = qkAssert::measure_screen(system);
  EXPECT_TRUE(screen.measured);
  EXPECT_EQ(screen.width, 1280);
  EXPECT_EQ(screen.height, 665);  // 664.6 rounded
  const qkAssert::PackedRect half = qkAssert::centred_rect(system, 0.5f, 0.5f);
  EXPECT_EQ((std::vector<int>{half.x, half.y, half.width, half.height}),
            (std::vector<int>{320, 166, 640, 332}));
  const qkAssert::PackedRect quarter = qkAssert::centred_rect(system, 0.25f, 0.25f);
  EXPECT_EQ((std::vector<int>{quarter.x, quarter.y, quarter.width, quarter.height}),
            (std::vector<int>{480, 249, 320, 166}));
  system.map_right = 0;  // measuring failed
  const qkAssert::PackedRect none = qkAssert::centred_rect(system, 0.5f, 0.5f);
  EXPECT_EQ((std::vector<int>{none.x, none.y, none.width, none.height}), (std::vector<int>{0, 0, 0, 0}));
}

TEST(AssertDialog, HasTenControlsLaidOutByTheWindowsSize) {
  ScriptedDialogs system;  // the window is 640 by 332 units
  bool flags[4] = {};
  const auto box = qkAssert::makeAssertDialog(system, "Assertion failed!", "report\n", &flags[0], &flags[1],
                                              &flags[2], &flags[3]);
  ASSERT_TRUE(box);
  EXPECT_TRUE(box->no_close());
  // Each control as "style id class x,y width x height text".
  std::vector<std::string> controls;
  for (const Item& item : TemplateReader(box->template_bytes()).items()) {
    char line[96];
    std::snprintf(line, sizeof line, "%08X %u %08X %d,%d %dx%d ", unsigned(item.style), unsigned(item.id),
                  unsigned(item.window_class), item.x, item.y, item.cx, item.cy);
    controls.push_back(line + std::string(item.text.begin(), item.text.end()));
  }
  EXPECT_EQ(controls, (std::vector<std::string>{
                          "50030001 3 0080FFFF 54,311 75x14 &Abort",
                          "50010000 4 0080FFFF 145,311 75x14 &Retry (Debug break)",
                          "50010000 5 0080FFFF 237,311 75x14 &Ignore",
                          "50010003 1001 0080FFFF 342,310 50x8 &Line and file",
                          "50010003 1002 0080FFFF 342,318 50x8 &Function",
                          "50010003 1003 0080FFFF 392,310 50x8 &Message",
                          "50010003 1004 0080FFFF 392,318 50x8 &Callstack",
                          "50010000 9 0080FFFF 511,311 75x14 &Help",
                          "50A30844 4294967295 0081FFFF 7,7 626x297 report\r\n",
                          "50000001 4294967295 0082FFFF 312,311 30x30 with same",
                      }));
}

TEST(AssertDialog, WithoutMessageAndCallstackHasEightControls) {
  ScriptedDialogs system;
  bool line_and_file = false, function = false;
  const auto box = qkAssert::makeAssertDialog(system, "Assertion failed!", "r", &line_and_file, &function,
                                              nullptr, nullptr);
  ASSERT_TRUE(box);
  std::vector<uint32_t> ids;
  for (const Item& item : TemplateReader(box->template_bytes()).items()) ids.push_back(item.id);
  EXPECT_EQ(ids, (std::vector<uint32_t>{3, 4, 5, 1001, 1002, 9, 0xFFFFFFFF, 0xFFFFFFFF}));

  system.has_font = false;  // no message font: no window
  EXPECT_FALSE(qkAssert::makeAssertDialog(system, "t", "r", &line_and_file, &function, nullptr, nullptr));
}

TEST(GeneralDialog, SpreadsItsButtonsAndMakesRoomForTheLabel) {
  ScriptedDialogs system;
  const std::vector<qkAssert::DialogButton> buttons = {{"&Yes", 6, true, 50, {}, true},
                                                       {"&No", 7, false, 40, {}, false}};
  const auto box =
      qkAssert::make_general_dialog(system, "Q", {0, 0, 300, 200}, "text", buttons, "label", 0, false, false);
  ASSERT_TRUE(box);
  const std::vector<Item> items = TemplateReader(box->template_bytes()).items();
  ASSERT_EQ(items.size(), 4u);
  EXPECT_EQ((std::vector<int>{items[0].x, items[0].y, items[0].cx, items[0].cy}),
            (std::vector<int>{75, 179, 50, 14}));
  EXPECT_EQ(items[0].style, 0x50030001u);  // first of the group, tab stop, default
  EXPECT_EQ((std::vector<int>{items[1].x, items[1].y}), (std::vector<int>{180, 179}));
  EXPECT_EQ(items[1].style, 0x50000000u);
  EXPECT_EQ((std::vector<int>{items[2].x, items[2].y, items[2].cx, items[2].cy}),
            (std::vector<int>{7, 7, 286, 144}));
  EXPECT_EQ((std::vector<int>{items[3].x, items[3].y, items[3].cx, items[3].cy}),
            (std::vector<int>{7, 158, 286, 14}));
}

TEST(AssertHelp, Has2799UnitsInLinesEndingInCarriageReturnAndLineFeed) {
  const std::string_view help = qkAssert::assert_help_text();
  EXPECT_EQ(qkAssert::dialog_text(help).size(), 2799u);
  size_t lines = 0;
  for (size_t at = help.find("\r\n"); at != std::string_view::npos; at = help.find("\r\n", at + 2)) ++lines;
  EXPECT_EQ(lines, 17u);
  EXPECT_EQ(help.find("\n"), help.find("\r\n") + 1);  // no bare line feed
  EXPECT_EQ(help.substr(0, 54), "This is help for the custom Quenka assertion window.\r\n");
  EXPECT_EQ(help.substr(help.size() - 5), ".\r\n\r\n");
}

// ---- The window procedure --------------------------------------------------------------------

class WindowProcedure : public testing::Test {
 protected:
  intptr_t send(uint32_t message, uintptr_t wparam, intptr_t lparam) {
    return CustomWinDialogBox::procedure(system, &window, message, wparam, lparam);
  }
  intptr_t command(uint16_t id, uint16_t notification = 0) {
    return send(qkAssert::kMessageCommand, uintptr_t(id) | uintptr_t(notification) << 16, 0);
  }
  void open() {
    box = qkAssert::makeAssertDialog(system, "Assertion failed!", "r", &line_and_file, &function, nullptr,
                                     nullptr);
    ASSERT_TRUE(box);
    window.box = &*box;
    EXPECT_EQ(send(qkAssert::kMessageInitDialog, 0, reinterpret_cast<intptr_t>(&*box)), 1);
  }

  ScriptedDialogs system;
  bool line_and_file = true, function = false;
  std::optional<CustomWinDialogBox> box;
  ScriptedDialogs::Window window{nullptr};
};

TEST_F(WindowProcedure, EscAndClosingAreIgnoredUntilAButtonIsPressed) {
  open();
  EXPECT_EQ(command(qkAssert::kIdCancel), 1);
  EXPECT_FALSE(window.ended);
  EXPECT_EQ(command(4711), 1);  // an id the window doesn't know
  EXPECT_FALSE(window.ended);
  EXPECT_EQ(command(5), 1);  // Ignore
  EXPECT_TRUE(window.ended);
  EXPECT_EQ(window.result, 5);
  EXPECT_EQ(std::vector<std::string>(system.calls.end() - 2, system.calls.end()),
            (std::vector<std::string>{"cursor off", "end 5"}));
  EXPECT_EQ(command(3), 0);  // closed: the window is known no more
}

TEST_F(WindowProcedure, OpeningShowsTheFlagsAndAClickStoresTheBoxInItsFlag) {
  open();
  EXPECT_TRUE(window.checked[1001]);
  EXPECT_FALSE(window.checked[1002]);
  EXPECT_EQ(std::vector<std::string>(system.calls.begin() + 2, system.calls.end()),
            (std::vector<std::string>{"beep 16", "focus", "cursor on"}));
  window.checked[1002] = true;
  EXPECT_EQ(command(1002, 1), 1);  // another notification than a click changes nothing
  EXPECT_FALSE(function);
  command(1002);
  EXPECT_TRUE(function);
  window.checked[1001] = false;
  command(1001);
  EXPECT_FALSE(line_and_file);
  EXPECT_FALSE(window.ended);
}

TEST_F(WindowProcedure, HelpShowsItsWindowAndKeepsTheAssertion) {
  open();
  system.answer({{ScriptedDialogs::Step::escape, 0}});  // Esc ends the help window
  command(9);
  ASSERT_EQ(system.runs.size(), 1u);
  EXPECT_EQ(system.runs[0].title, "Assertion window help");
  EXPECT_EQ(system.runs[0].text, qkAssert::assert_help_text());
  EXPECT_EQ(system.runs[0].buttons, (std::vector<uint16_t>{1}));
  EXPECT_EQ(system.runs[0].result, 2);
  EXPECT_FALSE(window.ended);
  command(3);
  EXPECT_EQ(window.result, 3);
}

TEST_F(WindowProcedure, ResizingMovesChildrenApartWithoutGrowingThem) {
  system.child_windows = {{reinterpret_cast<void*>(11), {10, 20, 40, 30}},
                          {reinterpret_cast<void*>(12), {3, 5, 8, 9}}};
  open();  // the client area is 1280 by 664
  system.calls.clear();
  EXPECT_EQ(send(qkAssert::kMessageSize, 0, intptr_t(2560 | 996 << 16)), 0);
  EXPECT_EQ(system.calls,
            (std::vector<std::string>{"move 11 20,30 30x10 repaint", "move 12 6,7 5x4 repaint"}));
}

}  // namespace
