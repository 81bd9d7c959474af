// Paths as the tool hands them to the system.
#pragma once

#include <string>

// The spelling of a real path for the loader. On this platform a path that begins with "/" names
// the virtual file system, so an absolute real path is handed over relative to the working
// directory ("/srv/cfg" from "/home/me" becomes "../../srv/cfg"). A relative path stays as it is.
std::string loaderSpelling(const std::string& path);

// The folder of the bundled example catalogue: beside an installed tool (../share/qkmt/examples),
// else the source tree's examples/ folder.
std::string bundledExamplesDir();
