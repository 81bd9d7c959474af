// The real-path functions: their refusals of virtual paths and modes, silent misses, small files
// read whole.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BufferBytes.h"
#include "LogCapture.h"
#include "TempDir.h"
#include "VfsTestSupport.h"
#include "qkvfs/RealPath.h"

namespace {

using Lines = std::vector<std::string>;

TEST(RealPath, RefusalsAndMissesLogUnlessSilent) {
  TempDir dir;
  put_file("f", "x");
  LogCapture log;
  EXPECT_EQ(qk_vfs_open_real("/x", 0, true), nullptr);
  EXPECT_EQ(qk_vfs_open_real("/x", 0, false), nullptr);
  EXPECT_EQ(qk_vfs_open_real("f", 3, false), nullptr);
  EXPECT_EQ(qk_vfs_open_real("missing", 0, true), nullptr);
  EXPECT_EQ(qk_vfs_open_real("missing", 0, false), nullptr);
  EXPECT_EQ(qk_vfs_read_real("missing", nullptr, true), nullptr);
  EXPECT_EQ(qk_vfs_read_real("missing", nullptr, false), nullptr);
  EXPECT_EQ(log.errors(),
            (Lines{"Can't open file '/x' from real path fs.", "Can't open file 'f' from real path fs.",
                   "[missing] CreateFile(RO): " + system_words(qk_error_not_found()),
                   "Can't open file 'missing' from real path fs.",
                   "Can't open file 'missing' from real path fs."}));
}

TEST(RealPath, SmallFilesAreReadWholeAndEndedByRelease) {
  TempDir dir;
  put_file("small", "tiny");
  put_file("large", std::string(0x100000, 'L'));
  qkvfs::IFile* small = qk_vfs_open_real_small("small", 0, false);
  ASSERT_NE(small, nullptr);
  EXPECT_STREQ(small->vfs_name(), "");  // a MemReader, no longer the file
  EXPECT_EQ(bytes_of(small->buffer()), "tiny");
  small->release();  // ends it: a leak would show under AddressSanitizer
  qkvfs::IFile* large = qk_vfs_open_real_small("large", 0, false);
  ASSERT_NE(large, nullptr);
  EXPECT_STREQ(large->vfs_name(), "large");  // the file itself
  large->release();
}

TEST(RealPath, ReadingRefillsTheGivenBufferAndAVirtualPathEmptiesIt) {
  TempDir dir;
  put_file("f", "content");
  qk::RefPtr<qk::MemBuffer> buffer = qk::MemBuffer::create(3);
  qk::MemBuffer* const same = buffer.get();
  const qk::RefPtr<qk::IBuffer> bytes = qk_vfs_read_real("f", &buffer, false);
  EXPECT_EQ(bytes.get(), same);
  EXPECT_EQ(bytes_of(bytes), "content");
  qk::RefPtr<qk::MemBuffer> other = qk::MemBuffer::create(5);
  EXPECT_EQ(qk_vfs_read_real("/f", &other, false), nullptr);
  EXPECT_EQ(other->size(), 0u);
}

}  // namespace
