// The names of the benchmarks' tree of small files: 200 folders of 100 files each,
// "Folder000/File00000.dat" to "Folder199/File19999.dat", so that the folder and archive benchmarks
// measure the same 20,000 paths.
#pragma once

#include <cstdio>
#include <string>

namespace qkbench {

constexpr int kFolders = 200;
constexpr int kFilesPerFolder = 100;

inline std::string small_file_name(int folder, int file) {
  char name[64];
  std::snprintf(name, sizeof name, "Folder%03d/File%05d.dat", folder, folder * kFilesPerFolder + file);
  return name;
}

}  // namespace qkbench
