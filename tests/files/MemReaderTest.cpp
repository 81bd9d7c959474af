// MemReader: an IFile over a buffer.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "qk/SharedBuffer.h"
#include "qkvfs/MemReader.h"

namespace {

qk::RefPtr<qk::IBuffer> buffer_of(const std::string& bytes) {
  qk::RefPtr<qk::SharedBuffer> buffer = qk::SharedBuffer::create(bytes.size());
  std::memcpy(buffer->mutableData(), bytes.data(), bytes.size());
  return qk::RefPtr<qk::IBuffer>(std::move(buffer));
}

TEST(MemReader, ReadsSeeksAndSkipsWithinItsBuffer) {
  const qk::RefPtr<qk::IBuffer> bytes = buffer_of("abcdefgh");
  qkvfs::MemReader reader(bytes, "name.txt");
  EXPECT_STREQ(reader.name(), "name.txt");
  EXPECT_STREQ(reader.vfs_name(), "");
  EXPECT_EQ(reader.size(), 8u);
  EXPECT_EQ(reader.buffer().get(), bytes.get());
  char out[16] = {};
  EXPECT_EQ(reader.read(out, 3), 3u);
  EXPECT_STREQ(out, "abc");
  EXPECT_TRUE(reader.skip(5));
  EXPECT_FALSE(reader.skip(1));  // nothing left
  EXPECT_TRUE(reader.skip(-2));
  EXPECT_FALSE(reader.skip(-7));
  EXPECT_EQ(reader.tell(), 6u);
  EXPECT_EQ(reader.read(out, sizeof out), 2u);
  EXPECT_TRUE(reader.seek(100));  // past the end: at the end
  EXPECT_EQ(reader.tell(), 8u);
  EXPECT_EQ(reader.read(out, 1), 0u);
  EXPECT_EQ(reader.write("x", 1), 0u);
  int64_t value = 0;
  EXPECT_FALSE(reader.meta_integer("k", value));
}

TEST(MemReader, KeepsAtMost256BytesOfItsName) {
  const std::string long_name(300, 'n');
  qkvfs::MemReader reader(nullptr, long_name);
  EXPECT_EQ(std::string(reader.name()), long_name.substr(0, 256));
  char out[1];
  EXPECT_EQ(reader.size(), 0u);
  EXPECT_EQ(reader.read(out, 1), 0u);
}

}  // namespace
