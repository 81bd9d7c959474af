// IDialogSystem: the window system under the assertion's dialogs.
//
// The dialogs themselves (CustomWinDialogBox: the template, the layout, the window procedure) are
// portable; what needs a window system stands behind this interface: the message font, measuring
// the screen, running a dialog modally, and the calls the window procedure makes, under the names
// of the window system they stand for. The Win32 shell implements them with the system's calls
// (DialogBoxIndirectParamW runs the template the dialog wrote); on POSIX, TerminalDialogSystem
// asks the same question on the controlling terminal. Tests drive the window procedure through an
// implementation of their own.
//
// An implementation lives as long as the process or the test that installed it. Its calls come
// from the thread that runs a dialog; one dialog (and the dialogs it opens) runs at a time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qkAssert {

class CustomWinDialogBox;

// A window of the window system (HWND).
using DialogHandle = void*;

// A rectangle in pixels, right and bottom exclusive (RECT).
struct DialogRect {
  int32_t left = 0, top = 0, right = 0, bottom = 0;
};

// A child window of a dialog with its rectangle in the dialog's client coordinates.
struct DialogChild {
  DialogHandle handle = nullptr;
  DialogRect rect;
};

// The message font (the lfMessageFont of the non-client metrics): height (negative for a
// character height in pixels), weight, italic, character set and face name.
struct DialogFont {
  int32_t height = 0;
  int32_t weight = 0;
  uint8_t italic = 0;
  uint8_t charset = 0;
  std::u16string face;
};

// Messages of the window procedure, with the window system's values (WM_SIZE, WM_INITDIALOG,
// WM_COMMAND; named apart from the system's macros, which the Win32 shell includes).
enum DialogMessage : uint32_t {
  kMessageSize = 0x0005,
  kMessageInitDialog = 0x0110,
  kMessageCommand = 0x0111,
};

// Control ids with a meaning of their own (IDOK, IDCANCEL).
enum : uint16_t { kIdOk = 1, kIdCancel = 2 };

class IDialogSystem {
 public:
  virtual ~IDialogSystem() = default;

  // The message font and the screen's dots per inch vertically (LOGPIXELSY); false when either
  // can't be had (no screen): no dialog is built then.
  virtual bool message_font(DialogFont& font, int32_t& dots_per_inch) = 0;
  // Maps the dialog rectangle (0, 0, 1000, 1000) to pixels in a hidden 1 by 1 window with the
  // message font (MapDialogRect); false when that failed.
  virtual bool map_thousand_dialog_units(int32_t& right, int32_t& bottom) = 0;
  // The screen's width and height in pixels (SM_CXSCREEN, SM_CYSCREEN).
  virtual void screen_size(int32_t& width, int32_t& height) = 0;
  // Runs `box` modally, its window procedure fed with CustomWinDialogBox::procedure, until it
  // ends (DialogBoxIndirectParamW with no owner and the box as the init parameter). Answers the
  // id of the control that closed it, or -1 when it couldn't be shown.
  virtual intptr_t run(CustomWinDialogBox& box) = 0;

  // The window procedure's calls.
  virtual void check_dlg_button(DialogHandle dialog, uint16_t id, bool checked) = 0;
  virtual void message_beep(uint32_t sound) = 0;
  virtual void set_focus(DialogHandle dialog) = 0;
  virtual void show_cursor(bool show) = 0;
  virtual DialogRect client_rect(DialogHandle dialog) = 0;
  // The child windows with their rectangles (GetWindowRect mapped to the dialog's client area).
  virtual std::vector<DialogChild> children(DialogHandle dialog) = 0;
  virtual void move_window(DialogHandle child, int32_t x, int32_t y, int32_t width, int32_t height,
                           bool repaint) = 0;
  virtual bool is_dlg_button_checked(DialogHandle dialog, uint16_t id) = 0;
  virtual void end_dialog(DialogHandle dialog, intptr_t id) = 0;
};

// The platform's own dialog system, made on first use and kept for the process: the terminal
// question on POSIX (assert/TerminalDialogSystem.cpp, chosen by CMake).
IDialogSystem& platform_dialog_system();

}  // namespace qkAssert
