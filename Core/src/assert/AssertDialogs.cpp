#include "assert/AssertDialogs.h"

#include <atomic>
#include <cmath>

namespace qkAssert {

namespace {

std::atomic<IDialogSystem*> installed_system{nullptr};

constexpr uint16_t kAbort = 3, kRetry = 4, kIgnore = 5, kHelp = 9;
constexpr uint16_t kLineAndFile = 1001, kFunction = 1002, kMessage = 1003, kCallstack = 1004;
constexpr uint32_t kErrorSound = 16;

DialogButton ok_button() { return {"&Ok", kIdOk, true, 50, {}, false}; }

// The examples are indented under their heading.
constexpr std::string_view kHelpText =
    "This is help for the custom Quenka assertion window.\r\n"
    "\r\n"
    "Common info: Assertion window appears when condition of some qk_assert... macro in a code is false. "
    "This "
    "means that something has gone wrong and this should be reported even if the application does not crash "
    "when this assertion is ignored. Regardless of actions in the assertion window, the same info will be "
    "written to the log as an error.\r\n"
    "\r\n"
    "Buttons:\r\n"
    "* \"Abort\": This is the default button. It results in calling std::abort() function which stops "
    "application execution.\r\n"
    "* \"Retry (Debug break)\": If debugger is not attached when pressing this button, application will try "
    "to "
    "initiate debugging automatically. If you have troubles with automatic attachment, make sure that in "
    "Visual Studio in Tools->Options->Debugging->Just-In-Time \"Native\" checkbox is active. If debugger was "
    "attached when pressing this button, or if automatic attachment succeed, debug break will be triggered. "
    "If "
    "you are debugging a code, you probably have pdb of the assertion implementation. This means that Visual "
    "Studio will jump to the assertion implementation in a callstack. To find the exact qk_assert... macro "
    "which failed, look down the callstack.\r\n"
    "* \"Ignore\": This button skips the assertion failure and continues application execution. Action of "
    "this "
    "button is affected by the state of nearby checkboxes. If no checkboxes are checked (default), then this "
    "specific assert will be skipped only this time. If any checkbox is checked, pressing this button will "
    "create a skip rule, by which all checked assertion fields will be compared with all next failed "
    "assertions, and if all of them are the same, assertion will not produce the assertion window (but, "
    "still, "
    "WILL output an error to the log).\r\n"
    "Examples:\r\n"
    "  If only \"Line and file\" is checked, then all asserts with the same file and line will be "
    "skipped.\r\n"
    "  If both \"Line and file\" and \"Function\" will be checked, then all asserts with same file, line and "
    "function will be skipped, but, as soon as \"Function\" includes specific template specialization, "
    "assertion with another specialization will not be skipped.\r\n"
    "  If only \"Function\" will be checked, then all asserts with the same function will be skipped, "
    "including, for example, functions with the same name in different source files.\r\n"
    "* \"Help\": Shows this help message.\r\n"
    "\r\n"
    "Shortcuts: All buttons and checkboxes have shortcuts \"alt+letter\", where \"letter\" is one of letters "
    "in "
    "button/checkbox name. This letter in name is underlined with slim (and sometimes hard to see) line when "
    "\"alt\" is pressed. Typically, it's the first letter.\r\n"
    "* This is, actually, a standard Windows buttons feature and can be used in many other Windows forms "
    "with "
    "the same principle. Note that if a text on a button is not in English, shortcut letter will not be in "
    "English too.\r\n"
    "\r\n";

intptr_t run(IDialogSystem& system, std::optional<CustomWinDialogBox> box) {
  return box ? system.run(*box) : -1;
}

}  // namespace

// ---- The dialog system and the screen --------------------------------------------------------

IDialogSystem& dialog_system() {
  IDialogSystem* system = installed_system.load();
  return system ? *system : platform_dialog_system();
}

IDialogSystem* set_dialog_system(IDialogSystem* system) { return installed_system.exchange(system); }

ScreenUnits measure_screen(IDialogSystem& system) {
  int32_t right = 0, bottom = 0;
  if (!system.map_thousand_dialog_units(right, bottom) || right <= 0 || bottom <= 0) return {};
  const float units_per_pixel_x = 1000.0f / float(right);
  const float units_per_pixel_y = 1000.0f / float(bottom);
  int32_t width = 0, height = 0;
  system.screen_size(width, height);
  return {int32_t(std::roundf(float(width) * units_per_pixel_x)),
          int32_t(std::roundf(float(height) * units_per_pixel_y)), true};
}

PackedRect centred_rect(IDialogSystem& system, float fraction_x, float fraction_y) {
  const ScreenUnits screen = measure_screen(system);
  if (!screen.measured) return {};
  const int32_t width = int32_t(float(screen.width) * fraction_x);
  const int32_t height = int32_t(float(screen.height) * fraction_y);
  return {uint16_t((screen.width - width) / 2), uint16_t((screen.height - height) / 2), uint16_t(width),
          uint16_t(height)};
}

// ---- The windows -----------------------------------------------------------------------------

std::optional<CustomWinDialogBox> makeAssertDialog(IDialogSystem& system, std::string_view title,
                                                   std::string_view text, bool* line_and_file, bool* function,
                                                   bool* message, bool* callstack) {
  const PackedRect rect = centred_rect(system, 0.5f, 0.5f);
  std::optional<CustomWinDialogBox> box =
      CustomWinDialogBox::create(system, title, rect, true, kErrorSound, true, false);
  if (!box) return box;
  const int w = rect.width, h = rect.height;
  box->add_button(w / 7 - 37, h - 21, 75, 14, kAbort, "&Abort", true, {}, true, true);
  box->add_button(2 * w / 7 - 37, h - 21, 75, 14, kRetry, "&Retry (Debug break)", true, {}, false, false);
  box->add_button(3 * w / 7 - 37, h - 21, 75, 14, kIgnore, "&Ignore", true, {}, false, false);
  box->add_check_box(3 * w / 7 + 68, h - 22, 50, 8, kLineAndFile, line_and_file, "&Line and file", true,
                     false);
  box->add_check_box(3 * w / 7 + 68, h - 14, 50, 8, kFunction, function, "&Function", true, false);
  if (message) box->add_check_box(3 * w / 7 + 118, h - 22, 50, 8, kMessage, message, "&Message", true, false);
  if (callstack)
    box->add_check_box(3 * w / 7 + 118, h - 14, 50, 8, kCallstack, callstack, "&Callstack", true, false);
  box->add_button(
      6 * w / 7 - 37, h - 21, 75, 14, kHelp, "&Help", true,
      [&system] {
        show_assert_help(system);
        return false;  // the assertion window stays
      },
      false, false);
  box->add_text(7, 7, w - 14, h - 35, text, true);
  box->add_text(3 * w / 7 + 38, h - 21, 30, 30, "with same", false);
  return box;
}

std::optional<CustomWinDialogBox> make_general_dialog(IDialogSystem& system, std::string_view title,
                                                      PackedRect rect, std::string_view text,
                                                      const std::vector<DialogButton>& buttons,
                                                      std::string_view label, uint32_t beep_sound,
                                                      bool beep_enabled, bool no_close) {
  std::optional<CustomWinDialogBox> box =
      CustomWinDialogBox::create(system, title, rect, no_close, beep_sound, beep_enabled, false);
  if (!box) return box;
  const int w = rect.width, h = rect.height;
  const int n = int(buttons.size());
  for (int i = 1; i <= n; ++i) {
    const DialogButton& b = buttons[size_t(i - 1)];
    box->add_button(i * w / (n + 1) - b.width / 2, h - 21, b.width, 14, b.id, b.text, b.tab_stop, b.on_click,
                    i == 1, b.is_default);
  }
  box->add_text(7, 7, w - 14, h - 35 - (label.empty() ? 0 : 21), text, true);
  if (!label.empty()) box->add_text(7, h - 42, w - 14, 14, label, false);
  return box;
}

std::string_view assert_help_text() { return kHelpText; }

intptr_t show_assert_help(IDialogSystem& system) {
  return run(system, make_general_dialog(system, "Assertion window help", centred_rect(system, 0.5f, 0.5f),
                                         kHelpText, {ok_button()}, {}, 0, false, false));
}

intptr_t show_notice(IDialogSystem& system, std::string_view title, std::string_view text) {
  return run(system, make_general_dialog(system, title, centred_rect(system, 0.5f, 0.5f), text, {ok_button()},
                                         {}, 0, false, false));
}

}  // namespace qkAssert
