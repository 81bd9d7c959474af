// OverlappedFile: positional reads from many threads on one descriptor, and its range reader.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "FileData.h"
#include "LogCapture.h"
#include "TempDir.h"
#include "qk/ZstdDecompressReader.h"
#include "qkvfs/OverlappedFile.h"
#include "qkvfs/OverlappedFileReader.h"

namespace {

using filetest::drain;
using filetest::pattern;
using filetest::text_of;
using Lines = std::vector<std::string>;

// Eight threads open the file at once and read at random offsets, some across the end: every
// read gives exactly the file's bytes, and the race to open leaves one descriptor.
TEST(OverlappedFile, EightThreadsReadRandomOffsetsOfOneDescriptor) {
  TempDir dir;
  const std::string bytes = pattern(3 << 20);
  dir.write("big", bytes);
  const int before = open_descriptor_count();
  qkvfs::OverlappedFile file("big");
  std::atomic<int> wrong{0}, failed_opens{0};
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < 8; ++t)
    threads.emplace_back([&, t] {
      if (!file.ensure_open()) failed_opens.fetch_add(1);
      std::mt19937_64 random(t + 1);
      std::string out;
      for (int i = 0; i < 1500; ++i) {
        const uint64_t offset = random() % (bytes.size() - 10);
        const size_t size = size_t(1 + random() % 20000);
        out.resize(size);
        const size_t got = file.read_at(offset, &out[0], size);
        const size_t expected = std::min<size_t>(size, bytes.size() - offset);
        if (got != expected || out.compare(0, got, bytes, offset, got) != 0) wrong.fetch_add(1);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failed_opens.load(), 0);
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(open_descriptor_count(), before + 1);
}

TEST(OverlappedFile, ReadsNothingUnopenedAndLogsFailuresInItsForm) {
  TempDir dir;
  dir.write("small", "0123456789");
  qkvfs::OverlappedFile missing("missing");
  qkvfs::OverlappedFile small("small");
  char out[16];
  LogCapture log;
  EXPECT_EQ(small.read_at(0, out, 4), 0u);  // not open yet
  EXPECT_FALSE(missing.ensure_open());
  ASSERT_TRUE(small.ensure_open());
  EXPECT_EQ(small.read_at(6, out, 16), 4u);   // across the end: what is there
  EXPECT_EQ(small.read_at(10, out, 16), 0u);  // at the end
  EXPECT_EQ(small.read_at(100, out, 3), 0u);
  EXPECT_EQ(small.read_at(100, out, 0), 0u);  // nothing asked, nothing to report
  EXPECT_EQ(log.errors(), (Lines{"[missing] CreateFile(OVERLAPPED): " + system_words(qk_error_not_found()),
                                 "[small] GetOverlappedResult(16): End of file",
                                 "[small] GetOverlappedResult(3): End of file"}));
}

TEST(OverlappedFileReader, StaysInsideItsRange) {
  TempDir dir;
  const std::string bytes = pattern(100);
  dir.write("f", bytes);
  qkvfs::OverlappedFile file("f");
  ASSERT_TRUE(file.ensure_open());
  qkvfs::OverlappedFileReader reader(&file, 10, 60, 16);
  EXPECT_STREQ(reader.name(), "f");
  EXPECT_EQ(reader.remaining(), 50u);
  EXPECT_EQ(text_of(reader.chunk()), bytes.substr(10, 16));
  EXPECT_EQ(reader.remaining(), 50u);
  EXPECT_EQ(reader.skip(20), 20u);  // sixteen buffered, four moved over
  EXPECT_EQ(reader.remaining(), 30u);
  std::string out(8, '\0');
  EXPECT_EQ(reader.read(&out[0], 8), 8u);
  EXPECT_EQ(out, bytes.substr(30, 8));
  EXPECT_EQ(text_of(reader.chunk()), bytes.substr(38, 16));
  EXPECT_EQ(reader.skip(100), 22u);  // never past the end of the range
  EXPECT_EQ(reader.remaining(), 0u);
  EXPECT_TRUE(reader.chunk().empty());
  EXPECT_EQ(reader.read(&out[0], 8), 0u);

  qkvfs::OverlappedFileReader tail(&file, 90, 200, 16);  // a range beyond the file ends with it
  EXPECT_EQ(drain(tail, 4), bytes.substr(90));
}

// A zstd frame made by the zstd command, stored between other bytes of an archive-like file and
// decompressed through a range reader whose chunks are one byte.
TEST(OverlappedFileReader, FeedsAZstdReaderFromTheMiddleOfAFile) {
  TempDir dir;
  const std::string plain = filetest::load_data("good/readers/text.txt");
  const std::string frame = filetest::load_data("good/readers/text.zst");
  dir.write("pack", "HEADER" + frame + "TRAILER");
  qkvfs::OverlappedFile file("pack");
  ASSERT_TRUE(file.ensure_open());
  for (size_t chunk : {size_t(1), size_t(0x100000)}) {
    qkvfs::OverlappedFileReader range(&file, 6, 6 + frame.size(), chunk);
    qk::ZstdDecompressReader decompressed(&range, plain.size());
    EXPECT_EQ(drain(decompressed, 4096), plain) << "chunk " << chunk;
  }
}

}  // namespace
