// Paths as the tool hands them to the system.
#pragma once

#include <string>

// The spelling of a real path for the loader. On this platform a path that begins with "/" names
// the virtual file system, so an absolute real path is handed over relative to the working
// directory ("/srv/cfg" from "/home/me" becomes "../../srv/cfg"). A relative path stays as it is.
std::string loaderSpelling(const std::string& path);

// The host's plug-in configuration directory when no option names one: $QKMT_PLUGCFG when set and
// not empty, else the working directory (".") when it holds materials.lua, else the bundled
// examples. A command's --plugcfg comes before all of these.
std::string defaultPlugCfgDir();

// The folder of the bundled example catalogue: beside an installed tool (../share/qkmt/examples),
// else the source tree's examples/ folder.
std::string bundledExamplesDir();
