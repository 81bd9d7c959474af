// BufferReader over a shared buffer, and without one.
#include <gtest/gtest.h>

#include "ReaderTestSupport.h"

namespace {

TEST(BufferReader, ReadsSkipsAndChunksForward) {
  qk::BufferReader reader(readertest::bufferOf("hello, world"));
  const qk::ByteSpan whole = reader.chunk();
  ASSERT_EQ(whole.size, 12u);
  EXPECT_EQ(reader.chunk().data, whole.data);  // chunk() doesn't consume

  EXPECT_EQ(reader.skip(7), 7u);
  EXPECT_EQ(reader.remaining(), 5u);
  const qk::ByteSpan rest = reader.chunk();
  EXPECT_EQ(rest.data, whole.data + 7);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(rest.data), rest.size), "world");

  char out[16] = {};
  EXPECT_EQ(reader.read(out, 3), 3u);
  EXPECT_EQ(reader.read(out + 3, sizeof out), 2u);  // short only at the end
  EXPECT_STREQ(out, "world");
  EXPECT_EQ(reader.remaining(), 0u);
  EXPECT_TRUE(reader.chunk().empty());
  EXPECT_EQ(reader.skip(5), 0u);
  EXPECT_EQ(reader.read(out, 5), 0u);
}

TEST(BufferReader, WithoutBufferIsEmpty) {
  qk::BufferReader reader(nullptr);
  char out[4];
  EXPECT_EQ(reader.remaining(), 0u);
  EXPECT_EQ(reader.read(out, sizeof out), 0u);
  EXPECT_EQ(reader.skip(4), 0u);
  EXPECT_TRUE(reader.chunk().empty());
  EXPECT_STREQ(reader.name(), "");
}

}  // namespace
