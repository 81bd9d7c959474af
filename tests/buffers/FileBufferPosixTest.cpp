// Whole files as buffers where POSIX alone can tell: a named pipe with no writer, and a descriptor
// that a failed view has closed.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "TempDir.h"
#include "platform/qk_fs.h"
#include "qk/EmptyBuffer.h"
#include "qk/FileBuffer.h"
#include "qkvfs/MappedFileBuffer.h"

namespace {

TEST(LoadFileBuffer, EmptyFileAndPipeAreTheEmptyBufferAndCountAsOpened) {
  TempDir dir;
  dir.write("empty", "");
  ASSERT_EQ(mkfifo("pipe", 0600), 0);  // no writer: the open must not wait for one
  for (const char* path : {"empty", "pipe"}) {
    bool opened = false;
    EXPECT_EQ(qk_load_file_buffer(path, opened, true).get(), qk::EmptyBuffer::instance().get()) << path;
    EXPECT_TRUE(opened) << path;
  }
}

TEST(MappedFileBuffer, FailedViewIsAnEmptyBufferWithItsFileClosed) {
  TempDir dir;
  dir.write("f", "abc");
  qk_platform_file file = qk_fs_open("f", QK_FS_READ, QK_FS_OPEN_EXISTING, 0);
  const qk::RefPtr<qk::IBuffer> buffer = qkvfs::MappedFileBuffer::create(file, qk_platform_mapping{}, 3);
  ASSERT_TRUE(buffer);
  EXPECT_EQ(buffer->size(), 0u);
  EXPECT_EQ(buffer->data(), nullptr);
  EXPECT_EQ(fcntl(int(file.handle), F_GETFD), -1);
}

}  // namespace
