// TerminalDialogSystem: the dialog system of POSIX, where no window system is at hand. A dialog
// becomes a question on the process's controlling terminal (not its standard streams, which may be
// redirected), with the same choices as the window and the same window procedure behind them.
//
// The question shows the title, the texts, the check boxes with their state, and the buttons, each
// with its shortcut letter in brackets ("[A]bort", "( ) [L]ine and file"), and reads a line (after
// an answer that keeps the question, the choices are shown again, and the texts too when another
// dialog came between):
//   - letters of check boxes tick or clear them, and the letter of one button presses it after
//     that ("lf i": tick "Line and file" and "Function", then Ignore), case ignored;
//   - Enter alone presses the default button (Abort in the assertion window);
//   - Esc and Enter is the close gesture, which a window without a close ignores;
//   - anything else is refused with a line saying why, and the question is asked again.
// The end-of-file key is an ordinary character while the question stands, so only a choice ends
// it; Ctrl-C still interrupts the program, as ending it from outside always can. A button that
// keeps the window (Help) shows its own dialog, then the question comes again.
//
// Without a controlling terminal, run answers -1 at once (the assertion then aborts); a terminal
// that hangs up mid-question answers -1 too. The template's nominal font and screen (there is no
// screen to ask): "Sans", 12 pixels high at 96 dots per inch (9 points), weight 400, character set
// 1; 1000 dialog units are 1500 by 1625 pixels; the screen is 1920 by 1080 pixels.
//
// One dialog (with the dialogs it opens) at a time, on the thread that runs it; the assertion
// lock sees to that.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "assert/IDialogSystem.h"

struct qk_platform_terminal;

namespace qkAssert {

class TerminalDialogSystem final : public IDialogSystem {
 public:
  TerminalDialogSystem() = default;
  TerminalDialogSystem(const TerminalDialogSystem&) = delete;
  TerminalDialogSystem& operator=(const TerminalDialogSystem&) = delete;

  bool message_font(DialogFont& font, int32_t& dots_per_inch) override;
  bool map_thousand_dialog_units(int32_t& right, int32_t& bottom) override;
  void screen_size(int32_t& width, int32_t& height) override;
  intptr_t run(CustomWinDialogBox& box) override;

  void check_dlg_button(DialogHandle dialog, uint16_t id, bool checked) override;
  void message_beep(uint32_t sound) override;
  void set_focus(DialogHandle) override {}
  void show_cursor(bool) override {}
  DialogRect client_rect(DialogHandle dialog) override;
  std::vector<DialogChild> children(DialogHandle) override { return {}; }
  void move_window(DialogHandle, int32_t, int32_t, int32_t, int32_t, bool) override {}
  bool is_dlg_button_checked(DialogHandle dialog, uint16_t id) override;
  void end_dialog(DialogHandle dialog, intptr_t id) override;

 private:
  // One running dialog; its address is its handle.
  struct Window {
    CustomWinDialogBox* box;
    std::map<uint16_t, bool> checked;
    bool ended = false;
    intptr_t result = -1;
  };

  Window* window(DialogHandle dialog);
  void write(const std::string& text);
  // Shows the choices, after the title and the texts when `whole`.
  void show(const Window& window, bool whole);
  // Acts on one answer; false when it was refused (the reason is written).
  bool answer(Window& window, const std::string& line);

  qk_platform_terminal* terminal_ = nullptr;
  std::vector<Window*> windows_;
  size_t runs_ = 0;  // dialogs run, to tell when another one came between two answers
};

}  // namespace qkAssert
