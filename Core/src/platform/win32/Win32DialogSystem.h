// Win32DialogSystem: the dialog system of Windows. The assertion's dialogs become real windows:
// DialogBoxIndirectParamW runs the template a CustomWinDialogBox wrote, with no owner and the box
// as the init parameter, and the window procedure's calls are the window system's own
// (CheckDlgButton, MessageBeep, SetFocus, ShowCursor, GetClientRect, EnumChildWindows with
// GetWindowRect and MapWindowPoints, MoveWindow, IsDlgButtonChecked, EndDialog).
//
// The message font is the lfMessageFont of SystemParametersInfoW(SPI_GETNONCLIENTMETRICS) with a
// structure of 504 bytes, and the dots per inch are the screen's LOGPIXELSY (GetDC(nullptr),
// released at once). The screen is measured in dialog units by a hidden 1 by 1 dialog with that
// font, whose procedure maps the rectangle (0, 0, 1000, 1000) with MapDialogRect on
// WM_INITDIALOG and ends with 1 (0 when the mapping failed).
//
// A dialog runs on the thread that asked for it, in the message loop of DialogBoxIndirectParamW;
// dialogs it opens (Help) run nested on the same thread. The object lives for the process.
#pragma once

#include "assert/IDialogSystem.h"

namespace qkAssert {

class Win32DialogSystem final : public IDialogSystem {
 public:
  Win32DialogSystem() = default;
  Win32DialogSystem(const Win32DialogSystem&) = delete;
  Win32DialogSystem& operator=(const Win32DialogSystem&) = delete;

  bool message_font(DialogFont& font, int32_t& dots_per_inch) override;
  bool map_thousand_dialog_units(int32_t& right, int32_t& bottom) override;
  void screen_size(int32_t& width, int32_t& height) override;
  intptr_t run(CustomWinDialogBox& box) override;

  void check_dlg_button(DialogHandle dialog, uint16_t id, bool checked) override;
  void message_beep(uint32_t sound) override;
  void set_focus(DialogHandle dialog) override;
  void show_cursor(bool show) override;
  DialogRect client_rect(DialogHandle dialog) override;
  std::vector<DialogChild> children(DialogHandle dialog) override;
  void move_window(DialogHandle child, int32_t x, int32_t y, int32_t width, int32_t height,
                   bool repaint) override;
  bool is_dlg_button_checked(DialogHandle dialog, uint16_t id) override;
  void end_dialog(DialogHandle dialog, intptr_t id) override;
};

}  // namespace qkAssert
