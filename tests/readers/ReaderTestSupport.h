// Inputs and stand-in sources for the reader tests.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "qk/BufferReader.h"
#include "qk/SharedBuffer.h"

namespace readertest {

// The bytes of `name` under tests/data (QK_TEST_DATA), e.g. "good/readers/text.txt".
inline std::string loadData(const std::string& name) {
  const char* root = std::getenv("QK_TEST_DATA");
  EXPECT_NE(root, nullptr) << "QK_TEST_DATA isn't set";
  std::ifstream in(std::string(root ? root : ".") + "/" + name, std::ios::binary | std::ios::ate);
  EXPECT_TRUE(in) << "missing test input " << name;
  std::string bytes(in ? size_t(in.tellg()) : 0, '\0');
  in.seekg(0);
  in.read(&bytes[0], std::streamsize(bytes.size()));
  return bytes;
}

inline qk::RefPtr<qk::IBuffer> bufferOf(const std::string& bytes) {
  qk::RefPtr<qk::SharedBuffer> buffer = qk::SharedBuffer::create(bytes.size());
  if (!bytes.empty()) std::memcpy(buffer->mutableData(), bytes.data(), bytes.size());
  return qk::RefPtr<qk::IBuffer>(std::move(buffer));
}

// A source over `bytes` whose chunk() shows one byte at a time, and whose skip() may be told to
// pass over one byte less than asked once `honestBytes` have been skipped.
class TrickleSource : public qk::Reader {
 public:
  explicit TrickleSource(const std::string& bytes, size_t honestBytes = SIZE_MAX)
      : inner_(bufferOf(bytes)), honest_(honestBytes) {}

  size_t read(void* dst, size_t n) override { return inner_.read(dst, n); }
  size_t skip(size_t n) override {
    const size_t passed = inner_.skip(skipped_ + n > honest_ && n > 0 ? n - 1 : n);
    skipped_ += passed;
    return passed;
  }
  size_t remaining() override { return inner_.remaining(); }
  qk::ByteSpan chunk() override {
    qk::ByteSpan span = inner_.chunk();
    span.size = std::min<size_t>(span.size, 1);
    return span;
  }

 private:
  qk::BufferReader inner_;
  size_t honest_;
  size_t skipped_ = 0;
};

// Reads `reader` to its end in pieces of `piece` bytes.
inline std::string drain(qk::Reader& reader, size_t piece) {
  std::string out, part(piece, '\0');
  while (size_t got = reader.read(&part[0], piece)) out.append(part, 0, got);
  return out;
}

}  // namespace readertest
