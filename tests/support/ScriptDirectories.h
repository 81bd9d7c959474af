// The process's three directories (current, write, temp) set for one test and given back to the
// defaults at its end, so that tests of the sandbox and of lfs don't leak them into each other.
// Main thread only, as the directories themselves are.
#pragma once

#include "qk_locations.h"

struct ScriptDirectories {
  ScriptDirectories(const char* current, const char* write, const char* temp) {
    VFS_set_directories(current, write, temp);
  }
  ~ScriptDirectories() { VFS_set_directories("./", "./", "./Temp/"); }
  ScriptDirectories(const ScriptDirectories&) = delete;
  ScriptDirectories& operator=(const ScriptDirectories&) = delete;
};
