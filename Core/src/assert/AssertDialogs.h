// The assertion's dialogs: the assertion window, its help window and the notice of a failed
// debugger launch, laid out in dialog units on a CustomWinDialogBox, and the process's dialog
// system that runs them.
//
// The assertion window (W and H its width and height, every division an integer division taken
// after the multiplication), in tab order:
//   "&Abort" (id 3) at (W/7 - 37, H - 21), "&Retry (Debug break)" (4) at (2W/7 - 37, H - 21),
//   "&Ignore" (5) at (3W/7 - 37, H - 21), each 75 by 14, Abort the default and first of a group;
//   check boxes 50 by 8: "&Line and file" (1001) at (3W/7 + 68, H - 22), "&Function" (1002) at
//   (3W/7 + 68, H - 14), "&Message" (1003) at (3W/7 + 118, H - 22) only with a message,
//   "&Callstack" (1004) at (3W/7 + 118, H - 14) only with a call stack;
//   "&Help" (9) at (6W/7 - 37, H - 21), 75 by 14, which shows the help and keeps the window;
//   the report as a multi-line text at (7, 7), W - 14 by H - 35;
//   the label "with same" at (3W/7 + 38, H - 21), 30 by 30.
// It can't be closed without a choice, and beeps with sound 16 (the error sound) as it opens.
//
// A general window with n buttons puts button i (from 1) at (i * W / (n + 1) - width / 2, H - 21),
// 14 high, the first one starting a group; its text at (7, 7), W - 14 by H - 35, less 21 when a
// label stands at (7, H - 42), W - 14 by 14.
//
// Windows are half as wide and half as high as the screen, and stand in its middle (centred_rect).
//
// Safe from any thread; the dialog system is set before dialogs run.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "assert/CustomWinDialogBox.h"

namespace qkAssert {

// The process's dialog system: the one installed, else the platform's own (the controlling
// terminal on POSIX).
IDialogSystem& dialog_system();
// Installs `system` (null for the platform's own) and answers the one installed before (null for
// the platform's own). For hosts with a window system of their own, and for tests.
IDialogSystem* set_dialog_system(IDialogSystem* system);

// The screen in dialog units: the pixels of the screen times 1000 / the pixels of 1000 dialog
// units (32-bit floats), rounded. Zero with `measured` false when the mapping failed.
struct ScreenUnits {
  int32_t width = 0;
  int32_t height = 0;
  bool measured = false;
};
ScreenUnits measure_screen(IDialogSystem& system);

// The screen's width and height times the fractions (cut to integers), placed in the middle of the
// screen by integer division; all four 0 when measuring failed.
PackedRect centred_rect(IDialogSystem& system, float fraction_x, float fraction_y);

// A button of a general window.
struct DialogButton {
  std::string_view text;
  uint16_t id;
  bool is_default;
  uint16_t width;
  std::function<bool()> on_click;
  bool tab_stop;
};

// The assertion window. The flags belong to the caller and show the check boxes' state; `message`
// and `callstack` are null when that field isn't available, and their check boxes are left out.
// Empty when the system has no message font.
std::optional<CustomWinDialogBox> makeAssertDialog(IDialogSystem& system, std::string_view title,
                                                   std::string_view text, bool* line_and_file, bool* function,
                                                   bool* message, bool* callstack);

// A general window; an empty `label` is none.
std::optional<CustomWinDialogBox> make_general_dialog(IDialogSystem& system, std::string_view title,
                                                      PackedRect rect, std::string_view text,
                                                      const std::vector<DialogButton>& buttons,
                                                      std::string_view label, uint32_t beep_sound,
                                                      bool beep_enabled, bool no_close);

// The help window's text: 2799 UTF-16 units in lines that end in carriage return and line feed.
std::string_view assert_help_text();

// Runs the help window ("Assertion window help"), or a notice with one "&Ok" button; both can be
// closed. Answer the closing id, -1 when the window couldn't be made or shown.
intptr_t show_assert_help(IDialogSystem& system);
intptr_t show_notice(IDialogSystem& system, std::string_view title, std::string_view text);

}  // namespace qkAssert
