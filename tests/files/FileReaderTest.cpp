// The readers of IFiles: the rule that picks one, FileReaderImpl's chunk arithmetic, the owners.
#include <gtest/gtest.h>

#include <string>

#include "FileData.h"
#include "TempDir.h"
#include "qk/BufferReader.h"
#include "qkvfs/Drivers/DataProviders/WinFileRaw.h"
#include "qkvfs/FileReader.h"
#include "qkvfs/FileReaderImpl.h"

namespace {

using filetest::drain;
using filetest::pattern;
using filetest::text_of;
using qkvfs::WinFileRaw;

// An open read of `name` that ends with the test.
struct OpenFile {
  explicit OpenFile(const std::string& name) : file(WinFileRaw::open_read(name)) { EXPECT_NE(file, nullptr); }
  ~OpenFile() {
    if (file) file->release();
  }
  WinFileRaw* file;
};

TEST(FileReaderRule, BuffersUpToOneMebibyteBehindThePositionAndStreamsBeyond) {
  TempDir dir;
  const std::string at = pattern(0x100000), above = pattern(0x100001);
  dir.write("at", at);
  dir.write("above", above);

  OpenFile small("at");
  qkvfs::FileReaderAdapter whole(*small.file);
  EXPECT_NE(dynamic_cast<qk::BufferReader*>(whole.inner()), nullptr);
  EXPECT_EQ(drain(whole, 65536), at);

  OpenFile large("above");
  {
    qkvfs::FileReaderAdapter streamed(*large.file);
    EXPECT_NE(dynamic_cast<qkvfs::FileReaderImpl*>(streamed.inner()), nullptr);
    EXPECT_STREQ(streamed.name(), "above");
    EXPECT_EQ(streamed.remaining(), 0x100001u);
    EXPECT_EQ(drain(streamed, 100000), above);
  }
  ASSERT_TRUE(large.file->seek(1));  // what is left is what counts
  qkvfs::FileReaderAdapter rest(*large.file);
  EXPECT_NE(dynamic_cast<qk::BufferReader*>(rest.inner()), nullptr);
  EXPECT_EQ(drain(rest, 4096), above.substr(1));
}

TEST(FileReaderImpl, ChunksSkipsAndReadsAcrossItsBuffer) {
  TempDir dir;
  const std::string bytes = pattern(40);
  dir.write("f", bytes);
  OpenFile open("f");
  qkvfs::FileReaderImpl reader(open.file, 7);
  EXPECT_EQ(text_of(reader.chunk()), bytes.substr(0, 7));
  EXPECT_EQ(text_of(reader.chunk()), bytes.substr(0, 7));  // not consumed
  EXPECT_EQ(reader.remaining(), 40u);
  EXPECT_EQ(reader.skip(3), 3u);
  EXPECT_EQ(text_of(reader.chunk()), bytes.substr(3, 4));
  std::string out(10, '\0');
  EXPECT_EQ(reader.read(&out[0], 10), 10u);  // four buffered, six from the file
  EXPECT_EQ(out, bytes.substr(3, 10));
  EXPECT_EQ(reader.remaining(), 27u);
  EXPECT_EQ(text_of(reader.chunk()), bytes.substr(13, 7));
  EXPECT_EQ(reader.skip(10), 10u);  // seven buffered, three by seeking
  EXPECT_EQ(reader.remaining(), 17u);
  EXPECT_EQ(reader.read(&out[0], 10), 10u);
  EXPECT_EQ(out, bytes.substr(23, 10));
  EXPECT_EQ(drain(reader, 3), bytes.substr(33));
  EXPECT_TRUE(reader.chunk().empty());
  EXPECT_EQ(reader.remaining(), 0u);
}

TEST(FileReader, OwnsItsFileAndReleasesIt) {
  TempDir dir;
  dir.write("f", "owned");
  const uint32_t in_use = WinFileRaw::pool.items_in_use();
  qk::ReaderPtr<> reader(new qkvfs::FileReader(WinFileRaw::open_read("f")));
  EXPECT_EQ(WinFileRaw::pool.items_in_use(), in_use + 1);
  EXPECT_EQ(drain(*reader, 2), "owned");
  reader.reset();
  EXPECT_EQ(WinFileRaw::pool.items_in_use(), in_use);
}

}  // namespace
