// What the catalogue asks of the host, behind one seam so that the loader builds and runs without
// it: the plug-in configuration directory, a message box for the artist, and the system's ANSI code
// page for the loader's path conversion.
//
// One implementation is installed for the process (setHostServices); without one, the console
// services below answer. Called on the host's main thread only.
#pragma once

#include <string>
#include <string_view>

#include "qk_text.h"

// Directory ids of Interface::GetDir.
constexpr int APP_PLUGCFG_DIR = 9;

// Message box styles and answers.
constexpr unsigned MB_OK = 0x0;
constexpr unsigned MB_ICONEXCLAMATION = 0x30;
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
};

// The services for a process without the host: the directory is given at construction, a message
// box is one line "[<caption>] <text>" on standard error, and the ANSI code page is Latin-1, so that
// each byte becomes the unit of the same value. An ASCII path therefore comes through the loader's
// double conversion unchanged, and any other byte is encoded twice, as on a system whose code page
// isn't UTF-8.
class ConsoleHostServices : public IHostServices {
 public:
  explicit ConsoleHostServices(std::string plugCfgDir = ".") : plugCfgDir_(std::move(plugCfgDir)) {}
  qk::wstring getDir(int which) override;
  int messageBox(const qk::wchar* text, const qk::wchar* caption, unsigned style) override;
  qk::wstring ansiToWide(std::string_view bytes) override;

 private:
  std::string plugCfgDir_;
};

// The installed services; null restores the console services. The caller keeps `services` alive
// while it is installed.
IHostServices& hostServices();
void setHostServices(IHostServices* services);
