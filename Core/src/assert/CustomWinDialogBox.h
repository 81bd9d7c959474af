// CustomWinDialogBox: a dialog written into memory at run time, so that the assertion facility
// needs no resource file and a library linked into any host can still show a window of its own.
//
// The template is the window system's published extended dialog template, little-endian:
//   DLGTEMPLATEEX: dlgVer 1, signature 0xFFFF, helpID 0, exStyle 0x20300, style, cDlgItems, x, y,
//     cx, cy (16-bit), an empty menu and class (one zero unit each), the title (UTF-16, ended by a
//     zero unit), then the font: pointsize, weight (16-bit), italic, charset (8-bit), typeface.
//     style is 0x00C400C0, plus 0x00080000 (a system menu) unless no_close, plus 0x10000200
//     (visible, set to the foreground) unless hidden.
//   DLGITEMTEMPLATEEX per control, each starting at a multiple of 4 (zero bytes pad the template):
//     helpID 0, exStyle 0, style, x, y, cx, cy (16-bit), id (32-bit), the class as an ordinal
//     (0xFFFF and the atom: 0x0080 button, 0x0081 edit, 0x0082 static), the text, extraCount 0.
// Texts are converted from UTF-8 to UTF-16 units by the core's converter; then every match of
// "([^\r]|^)\n" is replaced by "$1\r\n", so that a bare line feed becomes a carriage return and a
// line feed for the edit control. The matches are taken left to right and don't overlap, so a line
// feed whose character before was consumed by the last match stays bare: "a\n\nb" becomes
// "a\r\n\nb", and "\n\n" becomes "\n\r\n". A negative x or y counts from the window's right or
// lower edge. The order of adding is the tab order.
//
// The window procedure is portable too: CustomWinDialogBox::procedure reacts to the messages of a
// dialog through the calls of an IDialogSystem, and a process-wide registry (with a lock of its
// own, taken only for the short look-ups) finds the object of a window.
//
// A box is built, run and destroyed within one assertion, on one thread. It can be moved, not
// copied, and must not move while it runs: the registry holds its address.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "assert/IDialogSystem.h"

namespace qkAssert {

// A dialog's place and size in dialog units, as the template holds them.
struct PackedRect {
  uint16_t x = 0, y = 0, width = 0, height = 0;
};

class CustomWinDialogBox {
 public:
  enum class ControlKind { button, check_box, multi_line_text, label };

  // A control as added, for shells that show a dialog without its template (the terminal).
  struct Control {
    ControlKind kind;
    uint16_t id;  // 0xFFFF for texts and labels, whose template id is 0xFFFFFFFF
    std::string text;
    bool is_default;
  };

  // `font` and `dots_per_inch` are the message font and the screen's, for the template's font.
  CustomWinDialogBox(std::string_view title, PackedRect rect, bool no_close, uint32_t beep_sound,
                     bool beep_enabled, bool hidden, const DialogFont& font, int32_t dots_per_inch);
  // The same with the message font of `system`; empty when the system has none.
  static std::optional<CustomWinDialogBox> create(IDialogSystem& system, std::string_view title,
                                                  PackedRect rect, bool no_close, uint32_t beep_sound,
                                                  bool beep_enabled, bool hidden);

  CustomWinDialogBox(CustomWinDialogBox&&) = default;
  CustomWinDialogBox& operator=(CustomWinDialogBox&&) = default;
  CustomWinDialogBox(const CustomWinDialogBox&) = delete;
  CustomWinDialogBox& operator=(const CustomWinDialogBox&) = delete;

  // A push button. Clicking it calls `on_click` (which may be empty); the dialog closes with `id`
  // when there is none or it answers true.
  void add_button(int x, int y, int width, int height, uint16_t id, std::string_view text, bool tab_stop,
                  std::function<bool()> on_click, bool group, bool is_default);
  // A check box showing and setting the owner's `*flag`.
  void add_check_box(int x, int y, int width, int height, uint16_t id, bool* flag, std::string_view text,
                     bool tab_stop, bool group);
  // A read-only multi-line edit box with scroll bars, or a label.
  void add_text(int x, int y, int width, int height, std::string_view text, bool multi_line_edit);

  const std::vector<uint8_t>& template_bytes() const { return template_bytes_; }
  const std::string& title() const { return title_; }
  PackedRect rect() const { return {x_, y_, width_, height_}; }
  bool no_close() const { return no_close_; }
  const std::vector<Control>& controls() const { return controls_; }
  // The owner's flag of a check box; null for any other id.
  bool* check_box_flag(uint16_t id) const;

  // The window procedure of every dialog but the measuring one; answers as a dialog procedure does.
  //   kMessageInitDialog (lparam: the box): registers the window, sets each check box from its
  //     flag, beeps if asked, takes the focus, shows the cursor, keeps the client rectangle and
  //     the children's rectangles. Answers 1.
  //   kMessageSize (lparam: width, height in its low and high 16 bits): moves each child to its
  //     first place scaled by the new client size (32-bit floats, cut to integers), keeping its
  //     size. Answers 0.
  //   kMessageCommand (wparam: id, notification in its low and high 16 bits): kIdCancel closes
  //     with kIdCancel unless no_close, where it does nothing; a button calls its on_click and
  //     closes with its id when there is none or it answers true; a check box stores whether it is
  //     checked in its flag (notification 0 only). Answers 1, also for an id it doesn't know.
  //   Anything else, and a window it doesn't know: 0.
  // Closing shows the cursor no more, ends the dialog with the id and unregisters the window.
  static intptr_t procedure(IDialogSystem& system, DialogHandle dialog, uint32_t message, uintptr_t wparam,
                            intptr_t lparam);
  // Unregisters a window that went away without closing (a terminal that hung up).
  static void forget(DialogHandle dialog);

 private:
  void put16(uint16_t value);
  void put32(uint32_t value);
  void put_text(std::string_view text);
  void add_item(int x, int y, int width, int height, uint32_t style, uint32_t id, uint32_t window_class,
                std::string_view text);

  void on_init(IDialogSystem& system, DialogHandle dialog);
  void on_size(IDialogSystem& system, int32_t width, int32_t height);
  intptr_t on_command(IDialogSystem& system, DialogHandle dialog, uint16_t id, uint16_t notification);
  void close(IDialogSystem& system, DialogHandle dialog, intptr_t id);

  bool no_close_;
  uint16_t x_, y_, width_, height_;
  std::unordered_map<uint16_t, std::function<bool()>> button_handlers_;
  std::unordered_map<uint16_t, bool*> check_boxes_;
  size_t item_count_position_ = 0;
  std::vector<uint8_t> template_bytes_;
  uint32_t beep_sound_;
  bool beep_enabled_;
  std::vector<DialogChild> children_;
  DialogRect client_rect_;
  std::string title_;
  std::vector<Control> controls_;
};

// A text as it goes into a template: UTF-16 units, bare line feeds made carriage return and line
// feed as described above. No terminator.
std::u16string dialog_text(std::string_view text);

// number * numerator / denominator, rounded to the nearest integer (halves away from zero), as the
// window system's MulDiv: -1 for a zero denominator or a result beyond 32 bits.
int32_t mul_div(int32_t number, int32_t numerator, int32_t denominator);

}  // namespace qkAssert
