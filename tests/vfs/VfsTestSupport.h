// Folders of files for the file-system tests, made inside the test's TempDir.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

// Writes `content` to `path` (relative to the working directory), making its folders.
inline void put_file(const std::string& path, const std::string& content) {
  const std::filesystem::path file(path);
  if (file.has_parent_path()) std::filesystem::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << content;
}
