#include "Window.h"

#include <algorithm>
#include <memory>
#include <unordered_map>
#include <vector>

#include "CustEdit.h"

namespace {

// ---- windows and handles -----------------------------------------------------------------------

struct Window {
  HWND handle = nullptr;
  Window* parent = nullptr;
  ControlKind kind = ControlKind::Dialog;
  int id = 0;
  MSTR text;
  RECT rect{};  // in the parent's client area, or on the screen for a top-level window
  DLGPROC procedure = nullptr;
  LONG_PTR userData = 0;
  bool enabled = true;
  bool checked = false;
  std::vector<MSTR> items;
  int selection = CB_ERR;
  std::vector<std::unique_ptr<Window>> children;
  std::unique_ptr<ICustEdit> custEdit;
};

class CustEditControl : public ICustEdit {
 public:
  explicit CustEditControl(HWND control) : control_(control) {}
  void GetText(MCHAR* buffer, int size) override { GetWindowTextW(control_, buffer, size); }
  void SetText(const MCHAR* text) override { SetWindowTextW(control_, text); }

 private:
  HWND control_;
};

// The window system: every live window by its handle, and the top-level windows it owns. It is
// made on first use and never destroyed, so that objects destroyed at exit can still ask it.
struct WindowSystem {
  std::unordered_map<uintptr_t, Window*> live;
  std::vector<std::unique_ptr<Window>> topLevel;
  uintptr_t nextHandle = 0x10;
  HWND active = nullptr;
};

WindowSystem& windows() {
  static WindowSystem* system = new WindowSystem;
  return *system;
}

Window* find(HWND handle) {
  const auto it = windows().live.find(reinterpret_cast<uintptr_t>(handle));
  return it == windows().live.end() ? nullptr : it->second;
}

Window* adopt(std::unique_ptr<Window> window, Window* parent) {
  WindowSystem& system = windows();
  window->handle = reinterpret_cast<HWND>(system.nextHandle);
  system.nextHandle += 0x10;
  window->parent = parent;
  Window* raw = window.get();
  system.live[reinterpret_cast<uintptr_t>(raw->handle)] = raw;
  (parent ? parent->children : system.topLevel).push_back(std::move(window));
  return raw;
}

void forget(Window& window) {
  for (auto& child : window.children) forget(*child);
  windows().live.erase(reinterpret_cast<uintptr_t>(window.handle));
  if (windows().active == window.handle) windows().active = nullptr;
}

bool isCombo(const Window* w) { return w && w->kind == ControlKind::ComboBox; }

char16_t asciiLower(char16_t c) { return c >= u'A' && c <= u'Z' ? char16_t(c - u'A' + u'a') : c; }

bool equalIgnoringCase(const MSTR& a, const MCHAR* b) {
  size_t i = 0;
  for (; i < a.size() && b[i]; ++i)
    if (asciiLower(a[i]) != asciiLower(b[i])) return false;
  return i == a.size() && !b[i];
}

int copyText(const MSTR& text, MCHAR* buffer, int size) {
  if (!buffer || size <= 0) return 0;
  const int length = std::min(static_cast<int>(text.size()), size - 1);
  std::copy_n(text.data(), length, buffer);
  buffer[length] = 0;
  return length;
}

}  // namespace

// ---- creation and destruction ------------------------------------------------------------------

void MapDialogRect(RECT* rect) {
  // Rounded to the nearest pixel, as the host's window system does.
  auto x = [](long units) { return (units * DIALOG_BASE_UNIT_X + 2) / 4; };
  auto y = [](long units) { return (units * DIALOG_BASE_UNIT_Y + 4) / 8; };
  rect->left = x(rect->left);
  rect->right = x(rect->right);
  rect->top = y(rect->top);
  rect->bottom = y(rect->bottom);
}

HWND CreateHostWindow(const char* title, const RECT& rect) {
  auto window = std::make_unique<Window>();
  window->text = qk_to_wide(title);
  window->rect = rect;
  return adopt(std::move(window), nullptr)->handle;
}

HWND CreateDialogParamW(HINSTANCE instance, int templateId, HWND parent, DLGPROC procedure, LPARAM param) {
  const DialogTemplate* dialog = FindDialogTemplate(instance, templateId);
  Window* owner = find(parent);
  if (!dialog || (parent && !owner)) return nullptr;
  auto window = std::make_unique<Window>();
  RECT size{0, 0, dialog->cx, dialog->cy};
  MapDialogRect(&size);
  window->rect = size;
  window->procedure = procedure;
  Window* raw = adopt(std::move(window), owner);
  for (size_t i = 0; i < dialog->controlCount; ++i) {
    const ControlTemplate& c = dialog->controls[i];
    auto control = std::make_unique<Window>();
    control->kind = c.kind;
    control->id = c.id;
    control->text = qk_to_wide(c.text);
    RECT rect{c.x, c.y, c.x + c.cx, c.y + c.cy};
    MapDialogRect(&rect);
    control->rect = rect;
    adopt(std::move(control), raw);
  }
  const HWND handle = raw->handle;
  if (procedure) procedure(handle, WM_INITDIALOG, 0, param);
  return IsWindow(handle) ? handle : nullptr;
}

BOOL DestroyWindow(HWND handle) {
  Window* window = find(handle);
  if (!window) return FALSE;
  if (window->procedure) window->procedure(handle, WM_DESTROY, 0, 0);
  window = find(handle);  // the procedure may have destroyed it already
  if (!window) return TRUE;
  forget(*window);
  auto& siblings = window->parent ? window->parent->children : windows().topLevel;
  siblings.erase(std::find_if(siblings.begin(), siblings.end(),
                              [&](const std::unique_ptr<Window>& w) { return w.get() == window; }));
  return TRUE;
}

BOOL IsWindow(HWND handle) { return find(handle) ? TRUE : FALSE; }

// ---- structure and messages --------------------------------------------------------------------

HWND GetParent(HWND handle) {
  const Window* window = find(handle);
  return window && window->parent ? window->parent->handle : nullptr;
}

HWND GetDlgItem(HWND dialog, int id) {
  const Window* window = find(dialog);
  if (!window) return nullptr;
  for (const auto& child : window->children)
    if (child->id == id) return child->handle;
  return nullptr;
}

int GetDlgCtrlID(HWND handle) {
  const Window* window = find(handle);
  return window ? window->id : 0;
}

ControlKind GetControlKind(HWND handle) {
  const Window* window = find(handle);
  return window ? window->kind : ControlKind::Dialog;
}

INT_PTR SendMessageW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam) {
  const Window* window = find(handle);
  if (!window || !window->procedure) return 0;
  return window->procedure(handle, message, wParam, lParam);
}

INT_PTR sendCommand(HWND dialog, int id, UINT code) {
  const HWND control = GetDlgItem(dialog, id);
  return SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(static_cast<unsigned>(id), code),
                      reinterpret_cast<LPARAM>(control));
}

LONG_PTR SetWindowLongPtrW(HWND handle, int index, LONG_PTR value) {
  Window* window = find(handle);
  if (!window || index != GWLP_USERDATA) return 0;
  const LONG_PTR previous = window->userData;
  window->userData = value;
  return previous;
}

LONG_PTR GetWindowLongPtrW(HWND handle, int index) {
  const Window* window = find(handle);
  return window && index == GWLP_USERDATA ? window->userData : 0;
}

// ---- text and state ----------------------------------------------------------------------------

BOOL SetWindowTextW(HWND handle, const MCHAR* text) {
  Window* window = find(handle);
  if (!window) return FALSE;
  window->text = text ? MSTR(text) : MSTR();
  return TRUE;
}

int GetWindowTextW(HWND handle, MCHAR* buffer, int size) {
  const Window* window = find(handle);
  if (!window) {
    copyText(MSTR(), buffer, size);
    return 0;
  }
  return copyText(window->text, buffer, size);
}

MSTR GetWindowTextString(HWND handle) {
  const Window* window = find(handle);
  return window ? window->text : MSTR();
}

BOOL SetDlgItemTextW(HWND dialog, int id, const MCHAR* text) {
  return SetWindowTextW(GetDlgItem(dialog, id), text);
}

BOOL EnableWindow(HWND handle, BOOL enable) {
  Window* window = find(handle);
  if (!window) return FALSE;
  const BOOL wasDisabled = window->enabled ? FALSE : TRUE;
  window->enabled = enable != FALSE;
  return wasDisabled;
}

BOOL IsWindowEnabled(HWND handle) {
  const Window* window = find(handle);
  return window && window->enabled ? TRUE : FALSE;
}

BOOL GetClientRect(HWND handle, RECT* rect) {
  const Window* window = find(handle);
  if (!window || !rect) return FALSE;
  *rect = {0, 0, window->rect.right - window->rect.left, window->rect.bottom - window->rect.top};
  return TRUE;
}

BOOL GetWindowRect(HWND handle, RECT* rect) {
  const Window* window = find(handle);
  if (!window || !rect) return FALSE;
  *rect = window->rect;
  for (const Window* p = window->parent; p; p = p->parent) {
    rect->left += p->rect.left;
    rect->right += p->rect.left;
    rect->top += p->rect.top;
    rect->bottom += p->rect.top;
  }
  return TRUE;
}

BOOL MoveWindow(HWND handle, int x, int y, int cx, int cy, BOOL) {
  Window* window = find(handle);
  if (!window) return FALSE;
  window->rect = {x, y, static_cast<long>(x) + cx, static_cast<long>(y) + cy};
  return TRUE;
}

HWND GetActiveWindow() { return windows().active; }

HWND SetActiveWindow(HWND handle) {
  const HWND previous = windows().active;
  windows().active = IsWindow(handle) ? handle : nullptr;
  return previous;
}

// ---- combo boxes and check boxes ---------------------------------------------------------------

int ComboBox_ResetContent(HWND handle) {
  Window* window = find(handle);
  if (!isCombo(window)) return CB_ERR;
  window->items.clear();
  window->selection = CB_ERR;
  return 0;
}

int ComboBox_AddString(HWND handle, const MCHAR* text) {
  Window* window = find(handle);
  if (!isCombo(window)) return CB_ERR;
  window->items.push_back(text ? MSTR(text) : MSTR());
  return static_cast<int>(window->items.size()) - 1;
}

int ComboBox_GetCount(HWND handle) {
  const Window* window = find(handle);
  return isCombo(window) ? static_cast<int>(window->items.size()) : CB_ERR;
}

int ComboBox_SetCurSel(HWND handle, int index) {
  Window* window = find(handle);
  if (!isCombo(window)) return CB_ERR;
  const bool inRange = index >= 0 && index < static_cast<int>(window->items.size());
  window->selection = inRange ? index : CB_ERR;
  return window->selection;
}

int ComboBox_GetCurSel(HWND handle) {
  const Window* window = find(handle);
  return isCombo(window) ? window->selection : CB_ERR;
}

MSTR ComboBox_GetItemText(HWND handle, int index) {
  const Window* window = find(handle);
  if (!isCombo(window) || index < 0 || index >= static_cast<int>(window->items.size())) return MSTR();
  return window->items[static_cast<size_t>(index)];
}

int ComboBox_FindStringExact(HWND handle, int start, const MCHAR* text) {
  const Window* window = find(handle);
  if (!isCombo(window) || !text) return CB_ERR;
  const int count = static_cast<int>(window->items.size());
  const int first = start < 0 || start >= count ? 0 : start + 1;
  for (int i = 0; i < count; ++i) {
    const int index = (first + i) % count;
    if (equalIgnoringCase(window->items[static_cast<size_t>(index)], text)) return index;
  }
  return CB_ERR;
}

void Button_SetCheck(HWND handle, int state) {
  if (Window* window = find(handle)) window->checked = state == BST_CHECKED;
}

int Button_GetCheck(HWND handle) {
  const Window* window = find(handle);
  return window && window->checked ? BST_CHECKED : BST_UNCHECKED;
}

void CheckDlgButton(HWND dialog, int id, int state) { Button_SetCheck(GetDlgItem(dialog, id), state); }

int IsDlgButtonChecked(HWND dialog, int id) { return Button_GetCheck(GetDlgItem(dialog, id)); }

// ---- the host's edit control -------------------------------------------------------------------

ICustEdit* GetICustEdit(HWND handle) {
  Window* window = find(handle);
  if (!window || window->kind != ControlKind::CustEdit) return nullptr;
  if (!window->custEdit) window->custEdit = std::make_unique<CustEditControl>(handle);
  return window->custEdit.get();
}

void ReleaseICustEdit(ICustEdit*) {}
