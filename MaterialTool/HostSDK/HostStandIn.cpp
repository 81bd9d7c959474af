#include "HostStandIn.h"

#include <algorithm>

#include "HostServices.h"

namespace {

Interface* installed = nullptr;

// Where the host's windows stand on its screen, in pixels.
constexpr RECT kMainWindow{0, 0, 1920, 1080};
constexpr RECT kCommandPanel{1472, 120, 1472 + 432, 1040};
constexpr RECT kMaterialEditor{64, 144, 64 + 432, 1040};

}  // namespace

Interface* GetCOREInterface() { return installed; }

Interface* SetCOREInterface(Interface* host) {
  Interface* previous = installed;
  installed = host;
  return previous;
}

// ---- rollup panels -----------------------------------------------------------------------------

RollupPanel::RollupPanel(const char* title, const RECT& screen) : window_(CreateHostWindow(title, screen)) {}

RollupPanel::~RollupPanel() { DestroyWindow(window_); }

int RollupPanel::width() const {
  RECT rect;
  GetClientRect(window_, &rect);
  return static_cast<int>(rect.right);
}

void RollupPanel::setWidth(int pixels) {
  RECT rect;
  GetWindowRect(window_, &rect);
  MoveWindow(window_, static_cast<int>(rect.left), static_cast<int>(rect.top), pixels,
             static_cast<int>(rect.bottom - rect.top), TRUE);
}

HWND RollupPanel::addPage(HINSTANCE instance, int dialogId, DLGPROC procedure, const MCHAR* title,
                          LPARAM param) {
  const HWND page = CreateDialogParamW(instance, dialogId, window_, procedure, param);
  if (!page) return nullptr;
  int top = 0;
  for (HWND other : pages_) {
    RECT rect;
    GetClientRect(other, &rect);
    top += static_cast<int>(rect.bottom);
  }
  RECT size;
  GetClientRect(page, &size);
  MoveWindow(page, 0, top, width(), static_cast<int>(size.bottom), TRUE);
  SetWindowTextW(page, title);
  pages_.push_back(page);
  return page;
}

void RollupPanel::deletePage(HWND page) {
  const auto it = std::find(pages_.begin(), pages_.end(), page);
  if (it == pages_.end()) return;
  pages_.erase(it);
  DestroyWindow(page);
}

// ---- the material editor -----------------------------------------------------------------------

MaterialEditor::MaterialEditor() : panel_("Material Editor", kMaterialEditor) {}

HWND MaterialEditor::AddRollupPage(HINSTANCE instance, int dialogId, DLGPROC procedure, const MCHAR* title,
                                   LPARAM param, DWORD, int) {
  return panel_.addPage(instance, dialogId, procedure, title, param);
}

void MaterialEditor::DeleteRollupPage(HWND page) {
  const bool ours = std::find(panel_.pages().begin(), panel_.pages().end(), page) != panel_.pages().end();
  panel_.deletePage(page);
  if (ours) shown_ = nullptr;
}

ParamDlg* MaterialEditor::show(CustAttrib& attrib, int width) {
  close();
  panel_.setWidth(width);
  shown_ = attrib.CreateParamDlg(panel_.window(), this);
  return shown_;
}

void MaterialEditor::close() {
  if (shown_) shown_->DeleteThis();
  shown_ = nullptr;
  while (!panel_.pages().empty()) panel_.deletePage(panel_.pages().back());
}

// ---- the host ----------------------------------------------------------------------------------

HostStandIn::HostStandIn()
    : mainWindow_(CreateHostWindow("Host", kMainWindow)),
      commandPanel_("Command Panel", kCommandPanel),
      previous_(SetCOREInterface(this)) {
  SetActiveWindow(mainWindow_);
}

HostStandIn::~HostStandIn() {
  closeUtility();
  editor_.close();
  SetCOREInterface(previous_);
  DestroyWindow(mainWindow_);
}

const MCHAR* HostStandIn::GetDir(int which) {
  dir_ = hostServices().getDir(which);
  return dir_.c_str();
}

HWND HostStandIn::AddRollupPage(HINSTANCE instance, int dialogId, DLGPROC procedure, const MCHAR* title,
                                LPARAM param, DWORD, int) {
  return commandPanel_.addPage(instance, dialogId, procedure, title, param);
}

void HostStandIn::DeleteRollupPage(HWND page) { commandPanel_.deletePage(page); }

BOOL HostStandIn::TrackViewPickMultiDlg(HWND, Tab<TrackViewPick>* result, TrackViewFilter* filter, DWORD) {
  std::vector<Animatable*> picked;
  if (!hostServices().pickAnimatables(picked)) return FALSE;
  for (Animatable* anim : picked) {
    auto* target = dynamic_cast<ReferenceTarget*>(anim);
    if (!target || (filter && !filter->proc(anim, nullptr, 0))) continue;
    TrackViewPick pick;
    pick.anim = target;
    if (result) result->Append(pick);
  }
  return TRUE;
}

void HostStandIn::openUtility(UtilityObj* utility) {
  if (!utility || utility == utility_) return;
  closeUtility();
  utility_ = utility;
  utility_->BeginEditParams(this, &util_);
}

void HostStandIn::closeUtility() {
  UtilityObj* utility = utility_;
  if (!utility) return;
  utility_ = nullptr;
  utility->EndEditParams(this, &util_);
  utility->DeleteThis();
}
