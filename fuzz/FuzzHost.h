// The host stand-in with the plug-in loaded and the bundled catalogue (examples/materials.lua), for
// the targets that load scenes and attributes. Made on first use and kept to the process's end, as
// the host keeps the plug-in.
//
// The catalogue's folder is handed over relative to the working directory: a path that begins
// with "/" would name the virtual file system, where nothing is mounted.
#pragma once

#include <filesystem>
#include <string>

#include "HostServices.h"
#include "HostStandIn.h"
#include "PluginEntry.h"

inline HostStandIn& fuzzHost() {
  static ConsoleHostServices services(std::filesystem::relative(QK_EXAMPLES_DIR).string());
  static HostStandIn* host = [] {
    setHostServices(&services);
    auto* made = new HostStandIn();
    made->classes().loadLibrary(pluginExports());
    return made;
  }();
  return *host;
}
