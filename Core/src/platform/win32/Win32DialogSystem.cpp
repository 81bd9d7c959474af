#include "platform/win32/Win32DialogSystem.h"

#include <windows.h>

#include "assert/CustomWinDialogBox.h"

namespace qkAssert {

namespace {

// The size the non-client metrics have had since the padded border was added.
constexpr UINT kNonClientMetricsSize = 504;
static_assert(sizeof(NONCLIENTMETRICSW) == kNonClientMetricsSize, "NONCLIENTMETRICSW changed size");

// The system whose dialog runs on this thread; nested dialogs (Help) run under the same one.
thread_local Win32DialogSystem* running_system = nullptr;

HWND window(DialogHandle dialog) { return static_cast<HWND>(dialog); }

INT_PTR CALLBACK dialog_procedure(HWND dialog, UINT message, WPARAM wparam, LPARAM lparam) {
  if (!running_system) return 0;
  return CustomWinDialogBox::procedure(*running_system, dialog, message, wparam, lparam);
}

// The measuring dialog: the pixels of 1000 by 1000 dialog units in the message font.
struct Measure {
  RECT rect = {0, 0, 1000, 1000};
};

INT_PTR CALLBACK measure_procedure(HWND dialog, UINT message, WPARAM, LPARAM lparam) {
  if (message != WM_INITDIALOG) return 0;
  auto* measure = reinterpret_cast<Measure*>(lparam);
  EndDialog(dialog, MapDialogRect(dialog, &measure->rect) ? 1 : 0);
  return 1;
}

BOOL CALLBACK collect_child(HWND child, LPARAM lparam) {
  auto* children = reinterpret_cast<std::vector<DialogChild>*>(lparam);
  RECT rect;
  if (!GetWindowRect(child, &rect)) return TRUE;
  MapWindowPoints(nullptr, GetParent(child), reinterpret_cast<POINT*>(&rect), 2);
  children->push_back({child, {rect.left, rect.top, rect.right, rect.bottom}});
  return TRUE;
}

const DLGTEMPLATE* template_of(const CustomWinDialogBox& box) {
  return reinterpret_cast<const DLGTEMPLATE*>(box.template_bytes().data());
}

}  // namespace

IDialogSystem& platform_dialog_system() {
  static Win32DialogSystem* const system = new Win32DialogSystem;  // kept for assertions at exit
  return *system;
}

// ---- What the template needs -----------------------------------------------------------------

bool Win32DialogSystem::message_font(DialogFont& font, int32_t& dots_per_inch) {
  HDC screen = GetDC(nullptr);
  if (!screen) return false;
  dots_per_inch = GetDeviceCaps(screen, LOGPIXELSY);
  ReleaseDC(nullptr, screen);
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = kNonClientMetricsSize;
  if (!SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, 0, &metrics, 0)) return false;
  const LOGFONTW& message = metrics.lfMessageFont;
  font.height = message.lfHeight;
  font.weight = message.lfWeight;
  font.italic = message.lfItalic;
  font.charset = message.lfCharSet;
  font.face.clear();
  for (const WCHAR* unit = message.lfFaceName; *unit && unit < message.lfFaceName + LF_FACESIZE; ++unit)
    font.face += char16_t(*unit);
  return true;
}

bool Win32DialogSystem::map_thousand_dialog_units(int32_t& right, int32_t& bottom) {
  std::optional<CustomWinDialogBox> box =
      CustomWinDialogBox::create(*this, "", {1, 1, 1, 1}, false, 0, false, true);
  if (!box) return false;
  Measure measure;
  if (DialogBoxIndirectParamW(GetModuleHandleW(nullptr), template_of(*box), nullptr, measure_procedure,
                              reinterpret_cast<LPARAM>(&measure)) != 1)
    return false;
  right = measure.rect.right;
  bottom = measure.rect.bottom;
  return true;
}

void Win32DialogSystem::screen_size(int32_t& width, int32_t& height) {
  width = GetSystemMetrics(SM_CXSCREEN);
  height = GetSystemMetrics(SM_CYSCREEN);
}

// ---- Running a dialog ------------------------------------------------------------------------

intptr_t Win32DialogSystem::run(CustomWinDialogBox& box) {
  Win32DialogSystem* const outer = running_system;
  running_system = this;
  const INT_PTR result = DialogBoxIndirectParamW(GetModuleHandleW(nullptr), template_of(box), nullptr,
                                                 dialog_procedure, reinterpret_cast<LPARAM>(&box));
  running_system = outer;
  return result;
}

// ---- The window procedure's calls ------------------------------------------------------------

void Win32DialogSystem::check_dlg_button(DialogHandle dialog, uint16_t id, bool checked) {
  CheckDlgButton(window(dialog), id, checked ? BST_CHECKED : BST_UNCHECKED);
}

void Win32DialogSystem::message_beep(uint32_t sound) { MessageBeep(sound); }

void Win32DialogSystem::set_focus(DialogHandle dialog) { SetFocus(window(dialog)); }

void Win32DialogSystem::show_cursor(bool show) { ShowCursor(show ? TRUE : FALSE); }

DialogRect Win32DialogSystem::client_rect(DialogHandle dialog) {
  RECT rect{};
  GetClientRect(window(dialog), &rect);
  return {rect.left, rect.top, rect.right, rect.bottom};
}

std::vector<DialogChild> Win32DialogSystem::children(DialogHandle dialog) {
  std::vector<DialogChild> found;
  EnumChildWindows(window(dialog), collect_child, reinterpret_cast<LPARAM>(&found));
  return found;
}

void Win32DialogSystem::move_window(DialogHandle child, int32_t x, int32_t y, int32_t width, int32_t height,
                                    bool repaint) {
  MoveWindow(window(child), x, y, width, height, repaint ? TRUE : FALSE);
}

bool Win32DialogSystem::is_dlg_button_checked(DialogHandle dialog, uint16_t id) {
  return IsDlgButtonChecked(window(dialog), id) == BST_CHECKED;
}

void Win32DialogSystem::end_dialog(DialogHandle dialog, intptr_t id) { EndDialog(window(dialog), id); }

}  // namespace qkAssert
