// A fresh folder for a benchmark's files under $TMPDIR (or /tmp), made the working directory for
// the program's life and removed with everything in it at the end. Files are then named relative
// to it, since a path that begins with "/" names the virtual file system; nothing a benchmark
// writes lands in the source tree or wherever the program was started.
#pragma once

#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace qkbench {

class BenchDir {
 public:
  explicit BenchDir(const char* name) {
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/qk-" + name + "-XXXXXX";
    if (!mkdtemp(pattern.data())) {
      std::perror(pattern.c_str());
      std::exit(1);
    }
    path_ = pattern;
    previous_ = std::filesystem::current_path();
    std::filesystem::current_path(path_);
  }
  ~BenchDir() {
    std::error_code ignored;
    std::filesystem::current_path(previous_, ignored);
    std::filesystem::remove_all(path_, ignored);
  }
  BenchDir(const BenchDir&) = delete;
  BenchDir& operator=(const BenchDir&) = delete;

 private:
  std::filesystem::path path_, previous_;
};

}  // namespace qkbench
