#include "ToolPaths.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform/qk_platform.h"

namespace fs = std::filesystem;

std::string loaderSpelling(const std::string& path) {
  if (path.empty() || path.front() != '/') return path;
  std::error_code error;
  const fs::path cwd = fs::current_path(error);
  if (error) return path;
  const fs::path relative = fs::path(path).lexically_relative(cwd);
  return relative.empty() ? path : relative.string();
}

std::string bundledExamplesDir() {
  std::error_code error;
  std::string exe;
  if (qk_platform_executable_path(exe)) {
    const fs::path installed = fs::u8path(exe).parent_path().parent_path() / "share" / "qkmt" / "examples";
    if (fs::exists(installed / "materials.lua", error)) return installed.string();
  }
  return QKMT_EXAMPLES_DIR;
}

std::string defaultPlugCfgDir() {
  const char* env = std::getenv("QKMT_PLUGCFG");
  if (env && *env) return env;
  std::error_code error;
  if (fs::is_regular_file("materials.lua", error)) return ".";
  return bundledExamplesDir();
}
