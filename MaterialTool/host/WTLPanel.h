// ma::WTLPanel: the base of a rollup panel in the host's command panel. The derived class names
// itself as the template argument and answers the rollup's messages in handleMessage(window,
// message, wParam, lParam).
//
// The panel remembers the host that holds its rollup, and deletes a rollup that still exists when
// it is destroyed. The host must outlive the rollup. Main thread only.
#pragma once

#include "Interface.h"
#include "PluginEntry.h"

namespace ma {

template <class Derived>
class WTLPanel {
 public:
  explicit WTLPanel(int dialogId) : dialogId_(dialogId) {}
  virtual ~WTLPanel() { deleteRollup(); }
  WTLPanel(const WTLPanel&) = delete;
  WTLPanel& operator=(const WTLPanel&) = delete;

  // Notices of the rollup's life; they do nothing here.
  virtual void onOpened() {}
  virtual void onClosed() {}
  virtual void onRefreshed() {}

  // Adds the rollup to `host`'s command panel, with this panel as the procedure's parameter, and
  // remembers both. The rollup, or null.
  HWND addRollup(Interface* host, const MCHAR* title) {
    host_ = host;
    rollup_ =
        host_->AddRollupPage(hInstance, dialogId_, dialogProc, title,
                             reinterpret_cast<LPARAM>(static_cast<Derived*>(this)), 0, ROLLUP_CAT_STANDARD);
    return rollup_;
  }

  // Deletes the rollup, if there is one, through the host that holds it, and forgets both.
  void deleteRollup() {
    if (rollup_ && host_) host_->DeleteRollupPage(rollup_);
    rollup_ = nullptr;
    host_ = nullptr;
  }

  int dialogId() const { return dialogId_; }
  Interface* host() const { return host_; }
  HWND rollup() const { return rollup_; }

 private:
  // Keeps the panel in the window's user data from WM_INITDIALOG on and forwards every message.
  static INT_PTR dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) SetWindowLongPtrW(window, GWLP_USERDATA, lParam);
    auto* panel = reinterpret_cast<Derived*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    return panel ? panel->handleMessage(window, message, wParam, lParam) : 0;
  }

  int dialogId_;
  Interface* host_ = nullptr;
  HWND rollup_ = nullptr;
};

}  // namespace ma
