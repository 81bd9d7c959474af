// What the plug-in asks of the host, behind one seam so that the plug-in builds and runs without
// it: the plug-in configuration directory, a message box for the artist, the system's ANSI code
// page for the catalogue loader's path conversion, and the answer of the host's pick dialog.
//
// One implementation is installed for the process (setHostServices); without one, the console
// services below answer. Called on the host's main thread only.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "qk_text.h"

class Animatable;

// Directory ids of Interface::GetDir.
constexpr int APP_PLUGCFG_DIR = 9;

// Message box styles and answers.
constexpr unsigned MB_OK = 0x0;
constexpr unsigned MB_ICONERROR = 0x10;
constexpr unsigned MB_ICONEXCLAMATION = 0x30;
constexpr unsigned MB_ICONINFORMATION = 0x40;
constexpr int IDOK = 1;

class IHostServices {
 public:
  virtual ~IHostServices() = default;
  // Interface::GetDir: the host's directory of the given id.
  virtual qk::wstring getDir(int which) = 0;
  // A message box over the host's active window; answers the button that closed it.
  virtual int messageBox(const qk::wchar* text, const qk::wchar* caption, unsigned style) = 0;
  // Widening with the system's ANSI code page: one unit per byte, `bytes.size()` units.
  virtual qk::wstring ansiToWide(std::string_view bytes) = 0;
  // The pick dialog: false when the user cancelled it, else true with the picked objects, in the
  // order picked, in `picked`. The host offers only what the dialog's filter accepts.
  virtual bool pickAnimatables(std::vector<Animatable*>& picked) = 0;
};

// The services for a process without the host: the directory is given at construction, a message
// box is "[<caption>] <text>" on standard error (standard output flushed first, so that a joined
// stream keeps the order), and the ANSI code page is Latin-1, so that each byte becomes the unit of
// the same value. An ASCII path therefore comes through the loader's double conversion unchanged,
// and any other byte is encoded twice, as on a system whose code page isn't UTF-8. Nobody is there
// to pick, so the pick dialog is always cancelled.
class ConsoleHostServices : public IHostServices {
 public:
  explicit ConsoleHostServices(std::string plugCfgDir = ".") : plugCfgDir_(std::move(plugCfgDir)) {}
  qk::wstring getDir(int which) override;
  int messageBox(const qk::wchar* text, const qk::wchar* caption, unsigned style) override;
  qk::wstring ansiToWide(std::string_view bytes) override;
  bool pickAnimatables(std::vector<Animatable*>& picked) override;

 private:
  std::string plugCfgDir_;
};

// The installed services; null restores the console services. The caller keeps `services` alive
// while it is installed.
IHostServices& hostServices();
void setHostServices(IHostServices* services);
