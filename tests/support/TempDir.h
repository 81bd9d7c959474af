// A fresh folder for one test, which is also the working directory while the test runs; it is
// removed with everything in it at the end of the test. Files are named relative to it, since a
// path that begins with "/" names the virtual file system. Names are UTF-8, as the core's are (the
// narrow paths of the C++ library are the ANSI code page's on Windows).
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

class TempDir {
 public:
  TempDir() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "." + info->name();
    for (char& c : name)
      if (c == '/') c = '_';
    // A death test's child runs the test again while its parent still works in the first folder,
    // which Windows won't remove from under it: the child takes a folder of its own.
    if (!GTEST_FLAG_GET(internal_run_death_test).empty()) name += ".child";
    path_ = std::filesystem::path(::testing::TempDir()) / ("qk-" + name);
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
    previous_ = std::filesystem::current_path();
    std::filesystem::current_path(path_);
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::current_path(previous_, ignored);
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }

  // The bytes of the file `name`, relative to the working directory; empty if it can't be read.
  static std::string read(const std::string& name) {
    std::ifstream in(std::filesystem::u8path(name), std::ios::binary | std::ios::ate);
    std::string bytes(in ? size_t(in.tellg()) : 0, '\0');
    in.seekg(0);
    in.read(&bytes[0], std::streamsize(bytes.size()));
    return bytes;
  }

  // Writes `content` to the file `name` in the folder and returns `name`.
  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(path_ / std::filesystem::u8path(name), std::ios::binary) << content;
    return name;
  }

 private:
  std::filesystem::path path_;
  std::filesystem::path previous_;
};
