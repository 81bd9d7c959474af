// The host services of the plug-in library on Windows: the artist's message boxes are real
// MessageBoxW boxes over the active window, and the loader's path is widened with the system's
// ANSI code page, so that an ASCII path comes through the double conversion unchanged and any
// other path comes out encoded twice, as designed. The directory is given at construction, as for
// the console services; nobody plays the pick dialog, so it is always cancelled.
//
// Tests answer the boxes through qk_platform_set_message_box_hook
// (platform/win32/qk_message_box_win32.h), so that none waits. Main thread only.
#pragma once

#include "HostServices.h"

class WindowsHostServices : public ConsoleHostServices {
 public:
  explicit WindowsHostServices(std::string plugCfgDir = ".") : ConsoleHostServices(std::move(plugCfgDir)) {}
  int messageBox(const qk::wchar* text, const qk::wchar* caption, unsigned style) override;
  qk::wstring ansiToWide(std::string_view bytes) override;
};
