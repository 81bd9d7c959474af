// The host as `qkmt run` plays it for a script: the host stand-in with the plug-in loaded, the
// services the plug-in asks of the host (plug-in configuration directory, message boxes, the pick
// dialog's answer), and the materials and maps the script made or loaded.
//
// One session lives for one run, on the main thread. It installs its services and its host for its
// life; the objects are the session's and go before the host at the end, after the utility is
// closed and the material editor has taken its rollups down.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "HostServices.h"
#include "HostStandIn.h"
#include "Mtl.h"

struct MessageBoxRecord {
  std::string title;
  std::string text;
  unsigned flags;
};

class ScriptHostServices : public ConsoleHostServices {
 public:
  explicit ScriptHostServices(std::string plugCfgDir) : plugCfgDir_(std::move(plugCfgDir)) {}
  qk::wstring getDir(int which) override;
  // Records the box and prints it on standard error as "[TITLE] TEXT", standard output flushed
  // first. When it is the catalogue's load error and the catalogue can't be opened, the system's
  // reason follows on a line of its own ("qkmt: cfg/materials.lua: Is a directory").
  int messageBox(const qk::wchar* text, const qk::wchar* caption, unsigned style) override;
  // The answer set for the next pick dialog, used once; cancelled when none is set.
  bool pickAnimatables(std::vector<Animatable*>& picked) override;

  void setPlugCfgDir(std::string dir) { plugCfgDir_ = std::move(dir); }
  // The answer of the next pick dialog; nothing: cancelled.
  void setPickAnswer(std::optional<std::vector<Animatable*>> answer) { pick_ = std::move(answer); }
  // The boxes shown so far, which are then forgotten.
  std::vector<MessageBoxRecord> takeBoxes();
  // How many boxes with an error or a warning icon were shown in the whole run.
  int errorBoxes() const { return errorBoxes_; }

 private:
  std::string plugCfgDir_;
  int errorBoxes_ = 0;
  std::optional<std::vector<Animatable*>> pick_;
  std::vector<MessageBoxRecord> boxes_;
};

class HostSession {
 public:
  explicit HostSession(std::string plugCfgDir);
  ~HostSession();
  HostSession(const HostSession&) = delete;
  HostSession& operator=(const HostSession&) = delete;

  HostStandIn& host() { return *host_; }
  ScriptHostServices& services() { return services_; }
  // Keeps `object` for the session and answers it.
  MtlBase* adopt(std::unique_ptr<MtlBase> object);
  // Prints "qkmt: warning: TEXT" on standard error and counts it.
  void warn(const std::string& text);
  int warnings() const { return warnings_; }

 private:
  int warnings_ = 0;
  ScriptHostServices services_;
  std::unique_ptr<HostStandIn> host_;
  std::vector<std::unique_ptr<MtlBase>> objects_;
};
