#include "HostSession.h"

#include <cstdio>

#include "PluginEntry.h"

qk::wstring ScriptHostServices::getDir(int which) {
  return which == APP_PLUGCFG_DIR ? qk_to_wide(plugCfgDir_) : qk::wstring();
}

int ScriptHostServices::messageBox(const qk::wchar* text, const qk::wchar* caption, unsigned style) {
  MessageBoxRecord box{qk_to_utf8(caption), qk_to_utf8(text), style};
  const std::string line = "[" + box.title + "] " + box.text + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
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
