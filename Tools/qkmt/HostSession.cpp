#include "HostSession.h"

#include "PluginEntry.h"
#include "ToolFiles.h"
#include "ToolOutput.h"

namespace {

// The icon bits of a box's style: MB_ICONERROR and MB_ICONEXCLAMATION make an error box.
constexpr unsigned kIconMask = 0xF0;

}  // namespace

qk::wstring ScriptHostServices::getDir(int which) {
  return which == APP_PLUGCFG_DIR ? qk_to_wide(plugCfgDir_) : qk::wstring();
}

int ScriptHostServices::messageBox(const qk::wchar* text, const qk::wchar* caption, unsigned style) {
  MessageBoxRecord box{qk_to_utf8(caption), qk_to_utf8(text), style};
  writeErr("[" + box.title + "] " + box.text + "\n");
  const std::string catalogue = plugCfgDir_ + "/materials.lua";
  if (box.title == "Error" && box.text.rfind("Can't load file: " + catalogue + ".", 0) == 0) {
    const std::string reason = unreadableReason(catalogue);
    if (!reason.empty()) writeErr("qkmt: " + catalogue + ": " + reason + "\n");
  }
  if ((style & kIconMask) == MB_ICONERROR || (style & kIconMask) == MB_ICONEXCLAMATION) ++errorBoxes_;
  boxes_.push_back(std::move(box));
  return IDOK;
}

bool ScriptHostServices::pickAnimatables(std::vector<Animatable*>& picked) {
  picked.clear();
  if (!pick_) return false;
  picked = std::move(*pick_);
  pick_.reset();
  return true;
}

std::vector<MessageBoxRecord> ScriptHostServices::takeBoxes() {
  std::vector<MessageBoxRecord> boxes;
  boxes.swap(boxes_);
  return boxes;
}

HostSession::HostSession(std::string plugCfgDir) : services_(std::move(plugCfgDir)) {
  setHostServices(&services_);
  host_ = std::make_unique<HostStandIn>();
  host_->classes().loadLibrary(pluginExports());
}

HostSession::~HostSession() {
  host_->closeUtility();
  host_->materialEditor().close();
  host_->setScene({});
  objects_.clear();
  host_.reset();
  setHostServices(nullptr);
}

MtlBase* HostSession::adopt(std::unique_ptr<MtlBase> object) {
  objects_.push_back(std::move(object));
  return objects_.back().get();
}

void HostSession::warn(const std::string& text) {
  writeErr("qkmt: warning: " + text + "\n");
  ++warnings_;
}
