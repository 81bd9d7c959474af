// Replays a fuzz target's corpus without libFuzzer: every regular file under the folders (or the
// files) named on the command line is read whole and given to LLVMFuzzerTestOneInput once, in
// name order. A crash, a sanitizer report or an abort fails the run; an empty corpus is an error,
// so that a mistyped folder can't pass unseen.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace fs = std::filesystem;

int main(int argc, char** argv) {
  if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&argc, &argv);
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) {
    std::error_code error;
    if (fs::is_directory(argv[i], error)) {
      for (const auto& entry : fs::recursive_directory_iterator(argv[i], error))
        if (entry.is_regular_file()) files.push_back(entry.path());
    } else if (fs::is_regular_file(argv[i], error)) {
      files.emplace_back(argv[i]);
    }
    if (error) {
      std::fprintf(stderr, "%s: %s\n", argv[i], error.message().c_str());
      return 1;
    }
  }
  if (files.empty()) {
    std::fprintf(stderr, "no corpus files given\n");
    return 1;
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& file : files) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (!in.eof() && in.fail()) {
      std::fprintf(stderr, "%s: can't be read\n", file.string().c_str());
      return 1;
    }
    // A copy of exactly the file's size, so that a read past the end is caught by ASan.
    std::vector<uint8_t> input(bytes.begin(), bytes.end());
    static const uint8_t kNothing = 0;  // libFuzzer never passes null, even for no bytes
    LLVMFuzzerTestOneInput(input.empty() ? &kNothing : input.data(), input.size());
  }
  std::printf("%zu inputs replayed\n", files.size());
  return 0;
}
