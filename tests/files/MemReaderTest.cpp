// MemReader: an IFile over a buffer.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "qk/SharedBuffer.h"
#include "qkvfs/MemReader.h"

namespace {

TEST(MemReader, ReadsSeeksAndSkipsWithinItsBuffer) {
  qk::RefPtr<qk::SharedBuffer> bytes = qk::SharedBuffer::create(8);
  std::memcpy(bytes->mutableData(), "abcdefgh", 8);
  qkvfs::MemReader reader(qk::RefPtr<qk::IBuffer>(bytes), std::string(300, 'n'));
  EXPECT_EQ(std::string(reader.name()), std::string(256, 'n'));  // the name is cut at 256 bytes
  EXPECT_EQ(reader.buffer().get(), bytes.get());
  char out[16] = {};
  EXPECT_EQ(reader.read(out, 3), 3u);
  EXPECT_STREQ(out, "abc");
  EXPECT_TRUE(reader.skip(5));
  EXPECT_FALSE(reader.skip(1));  // nothing left
  EXPECT_TRUE(reader.skip(-2));
  EXPECT_FALSE(reader.skip(-7));
  EXPECT_EQ(reader.read(out, sizeof out), 2u);
  EXPECT_TRUE(reader.seek(100));  // past the end: at the end
  EXPECT_EQ(reader.tell(), 8u);
  EXPECT_EQ(reader.read(out, 1), 0u);
  EXPECT_EQ(reader.write("x", 1), 0u);
}

}  // namespace
