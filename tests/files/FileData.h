// Inputs for the file tests: patterns and the reader tests' data made by real tools.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "TempDir.h"
#include "qk/Reader.h"

namespace filetest {

// Bytes that differ from their neighbours and don't repeat with a short period.
inline std::string pattern(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) bytes[i] = char(i * 131 + i / 977);
  return bytes;
}

// The bytes of `name` under tests/data (QK_TEST_DATA).
inline std::string load_data(const std::string& name) {
  const char* root = std::getenv("QK_TEST_DATA");
  EXPECT_NE(root, nullptr) << "QK_TEST_DATA isn't set";
  const std::string path = std::string(root ? root : ".") + "/" + name;
  EXPECT_TRUE(std::ifstream(path)) << "missing test input " << name;
  return TempDir::read(path);
}

// Reads `reader` to its end in pieces of `piece` bytes.
inline std::string drain(qk::Reader& reader, size_t piece) {
  std::string out, part(piece, '\0');
  while (size_t got = reader.read(&part[0], piece)) out.append(part, 0, got);
  return out;
}

inline std::string text_of(qk::ByteSpan span) {
  return std::string(reinterpret_cast<const char*>(span.data), span.size);
}

}  // namespace filetest
