// Drives the windows a test opens from a second thread, as a person at the screen would: finds a
// dialog of this process by its title, reads its controls, clicks buttons and check boxes (BM_CLICK, posted
// so that the dialog's own thread handles it) and sends close requests. Nothing waits without limit: each
// look-up gives up after ten seconds, so a window that never comes fails the test instead of hanging it.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace win32_test {

// True when windows can really appear (a display, such as Xvfb's under Wine).
inline bool has_display() { return GetSystemMetrics(SM_CXSCREEN) > 0; }

// A child window of a dialog as the window system reports it.
struct Control {
  int id;
  std::wstring window_class;
  std::wstring text;
};

inline std::wstring text_of(HWND window) {
  std::wstring text(size_t(GetWindowTextLengthW(window)) + 1, L'\0');
  text.resize(size_t(GetWindowTextW(window, text.data(), int(text.size()))));
  return text;
}

inline std::vector<Control> controls_of(HWND dialog) {
  std::vector<Control> found;
  EnumChildWindows(
      dialog,
      [](HWND child, LPARAM list) {
        wchar_t window_class[64] = {};
        GetClassNameW(child, window_class, 64);
        reinterpret_cast<std::vector<Control>*>(list)->push_back(
            {GetDlgCtrlID(child), window_class, text_of(child)});
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&found));
  return found;
}

// A visible dialog of this process titled `title`, or null. Tests run in parallel, so a window of
// another test program with the same title must not count.
inline HWND find_dialog(const wchar_t* title) {
  struct Search {
    const wchar_t* title;
    HWND found;
  } search{title, nullptr};
  EnumWindows(
      [](HWND window, LPARAM state) {
        auto* s = reinterpret_cast<Search*>(state);
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        wchar_t window_class[16] = {};
        GetClassNameW(window, window_class, 16);
        if (process != GetCurrentProcessId() || wcscmp(window_class, L"#32770") != 0 ||
            !IsWindowVisible(window) || text_of(window) != s->title)
          return TRUE;
        s->found = window;
        return FALSE;
      },
      reinterpret_cast<LPARAM>(&search));
  return search.found;
}

// The dialog titled `title` once it is there; null after ten seconds.
inline HWND wait_for_dialog(const wchar_t* title) {
  for (int tries = 0; tries < 500; ++tries) {
    if (HWND dialog = find_dialog(title)) return dialog;
    Sleep(20);
  }
  return nullptr;
}

// True once `window` is gone; false after ten seconds.
inline bool wait_until_gone(HWND window) {
  for (int tries = 0; tries < 500; ++tries) {
    if (!IsWindow(window)) return true;
    Sleep(20);
  }
  return false;
}

inline void click(HWND dialog, int id) { PostMessageW(GetDlgItem(dialog, id), BM_CLICK, 0, 0); }

// Esc as the dialog gets it (the cancel command), and the close request of Alt+F4, each handled
// by the dialog's thread before the call returns; a dialog that would end on it is gone soon after.
inline void press_escape(HWND dialog) {
  DWORD_PTR ignored = 0;
  SendMessageTimeoutW(dialog, WM_COMMAND, MAKEWPARAM(IDCANCEL, 0), 0, SMTO_BLOCK, 5000, &ignored);
}
inline void request_close(HWND dialog) {
  DWORD_PTR ignored = 0;
  SendMessageTimeoutW(dialog, WM_CLOSE, 0, 0, SMTO_BLOCK, 5000, &ignored);
}

// True when `window` still stands a moment after what was sent to it.
inline bool still_standing(HWND window) {
  Sleep(300);
  return IsWindow(window) && IsWindowVisible(window);
}

}  // namespace win32_test
