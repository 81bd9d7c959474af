// The window system of the host stand-in: a panel model in place of real windows.
//
// A window is known by its handle; a dialog's controls are windows known by their id. A control
// keeps what the plug-in reads and writes through the functions below: its text, the entries and
// the selection of a combo box, the check state of a check box, whether it is enabled, and its
// rectangle. Nothing is drawn and no input arrives by itself: whoever drives the panel changes a
// control and sends the notification that the change would send (sendCommand), and the dialog's
// procedure answers it as it would in the host.
//
// Handles are never reused, so a handle that outlived its window is simply not a window any more:
// every function answers 0, false or CB_ERR for it, as the host's window system does. Windows
// without a parent are kept by the window system until DestroyWindow; a control belongs to its
// dialog. Screen geometry: dialog units map to pixels with the base units 7 by 16 of "MS Shell Dlg"
// at 8 points on a screen of 120 dots per inch, so that a template 247 units wide is 432 pixels.
//
// Main thread only.
#pragma once

#include "HostTypes.h"
#include "Module.h"

struct HWND__;
using HWND = HWND__*;
using DLGPROC = INT_PTR (*)(HWND, UINT, WPARAM, LPARAM);

// Messages and notifications.
constexpr UINT WM_DESTROY = 0x0002;
constexpr UINT WM_INITDIALOG = 0x0110;
constexpr UINT WM_COMMAND = 0x0111;
constexpr UINT WM_CUSTEDIT_ENTER = 1709;
constexpr UINT BN_CLICKED = 0;
constexpr UINT CBN_SELCHANGE = 1;
constexpr int CB_ERR = -1;
constexpr int GWLP_USERDATA = -21;
constexpr int BST_UNCHECKED = 0;
constexpr int BST_CHECKED = 1;

constexpr WPARAM MAKEWPARAM(unsigned low, unsigned high) {
  return (low & 0xFFFFu) | (static_cast<WPARAM>(high & 0xFFFFu) << 16);
}
constexpr unsigned LOWORD(WPARAM w) { return static_cast<unsigned>(w & 0xFFFFu); }
constexpr unsigned HIWORD(WPARAM w) { return static_cast<unsigned>((w >> 16) & 0xFFFFu); }

struct RECT {
  long left, top, right, bottom;
};

// Dialog base units of the stand-in's screen.
constexpr int DIALOG_BASE_UNIT_X = 7;
constexpr int DIALOG_BASE_UNIT_Y = 16;

// Dialog units to pixels, rounded as the host's window system rounds.
void MapDialogRect(RECT* rect);

// A top-level window (the host's main window, a panel that holds rollups) at the given screen
// rectangle, in pixels.
HWND CreateHostWindow(const char* title, const RECT& rect);
// A dialog from template `templateId` of `instance`, as a child of `parent` at its top left corner,
// sized as the template says. The procedure gets WM_INITDIALOG with `param` before this returns.
// Null when the template doesn't exist.
HWND CreateDialogParamW(HINSTANCE instance, int templateId, HWND parent, DLGPROC procedure, LPARAM param);
// Sends WM_DESTROY to the window's procedure, if it has one, and removes the window with the
// windows inside it.
BOOL DestroyWindow(HWND window);
BOOL IsWindow(HWND window);

HWND GetParent(HWND window);
HWND GetDlgItem(HWND dialog, int id);
int GetDlgCtrlID(HWND window);
ControlKind GetControlKind(HWND window);
// The dialog's procedure with the message, or 0 for a window without one.
INT_PTR SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
// WM_COMMAND with the control's id and `code`, sent to the control's dialog.
INT_PTR sendCommand(HWND dialog, int id, UINT code);

LONG_PTR SetWindowLongPtrW(HWND window, int index, LONG_PTR value);
LONG_PTR GetWindowLongPtrW(HWND window, int index);

BOOL SetWindowTextW(HWND window, const MCHAR* text);
// Copies the text into `buffer` (at most `size` units with the NUL, cut when longer); its length.
int GetWindowTextW(HWND window, MCHAR* buffer, int size);
MSTR GetWindowTextString(HWND window);
BOOL SetDlgItemTextW(HWND dialog, int id, const MCHAR* text);

BOOL EnableWindow(HWND window, BOOL enable);
BOOL IsWindowEnabled(HWND window);

// Client rectangle: origin 0, 0 and the window's size. Window rectangle: in screen pixels.
BOOL GetClientRect(HWND window, RECT* rect);
BOOL GetWindowRect(HWND window, RECT* rect);
// Moves a window to `x`, `y` in its parent's client area and gives it the size `cx` by `cy`.
BOOL MoveWindow(HWND window, int x, int y, int cx, int cy, BOOL repaint);

HWND GetActiveWindow();
HWND SetActiveWindow(HWND window);

// Combo boxes. An index out of range (and -1) clears the selection and answers CB_ERR.
int ComboBox_ResetContent(HWND combo);
int ComboBox_AddString(HWND combo, const MCHAR* text);
int ComboBox_GetCount(HWND combo);
int ComboBox_SetCurSel(HWND combo, int index);
int ComboBox_GetCurSel(HWND combo);
MSTR ComboBox_GetItemText(HWND combo, int index);
// The first entry after `start` (-1: from the first), going round, whose whole text equals `text`
// without regard to case (ASCII letters), or CB_ERR.
int ComboBox_FindStringExact(HWND combo, int start, const MCHAR* text);

// Check boxes.
void Button_SetCheck(HWND button, int state);
int Button_GetCheck(HWND button);
void CheckDlgButton(HWND dialog, int id, int state);
int IsDlgButtonChecked(HWND dialog, int id);
