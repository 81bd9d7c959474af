// The chunk stream: the bytes a writer makes, the reader's walk over them, and the refusal of
// broken input with a message that says where.
#include <gtest/gtest.h>

#include <string>

#include "ChunkFile.h"
#include "ChunkReader.h"
#include "ChunkWriter.h"

namespace {

std::string bytes(std::initializer_list<int> list) {
  std::string out;
  for (int b : list) out.push_back(static_cast<char>(b));
  return out;
}

std::string refusal(const std::string& file) {
  try {
    ChunkFile parsed(file);
  } catch (const ChunkFormatError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(ChunkWriter, HeaderIsIdThenLengthCountingItselfLittleEndian) {
  ChunkWriter out;
  out.BeginChunk(0x1234);
  ULONG written = 0;
  EXPECT_EQ(out.Write("abc", 3, &written), IO_OK);
  EXPECT_EQ(written, 3u);
  out.EndChunk();
  EXPECT_TRUE(out.complete());
  EXPECT_EQ(out.bytes(), bytes({0x34, 0x12, 9, 0, 0, 0, 'a', 'b', 'c'}));
}

TEST(ChunkWriter, AContainerHasBit31SetAndAnEmptyChunkHasNot) {
  ChunkWriter out;
  out.BeginChunk(1);
  out.BeginChunk(2);
  out.EndChunk();
  out.EndChunk();
  out.BeginChunk(3);
  out.EndChunk();
  EXPECT_EQ(out.bytes(), bytes({1, 0, 12, 0, 0, 0x80, 2, 0, 6, 0, 0, 0, 3, 0, 6, 0, 0, 0}));
}

TEST(ChunkWriter, StringsAreUtf16UnitsAndAZeroUnit) {
  ChunkWriter out;
  out.BeginChunk(7);
  out.WriteWString("h\xC3\xA9");  // "hé" in UTF-8
  out.EndChunk();
  EXPECT_EQ(out.bytes(), bytes({7, 0, 12, 0, 0, 0, 'h', 0, 0xE9, 0, 0, 0}));
}

TEST(ChunkWriter, MisuseIsRecordedNotWritten) {
  ULONG written = 0;
  ChunkWriter outside;
  EXPECT_EQ(outside.Write("x", 1, &written), IO_ERROR);
  EXPECT_EQ(outside.failure(), "data written outside any chunk");

  ChunkWriter mixed;
  mixed.BeginChunk(1);
  mixed.BeginChunk(2);
  mixed.EndChunk();
  EXPECT_EQ(mixed.Write("x", 1, &written), IO_ERROR);
  EXPECT_EQ(mixed.failure(), "data written into chunk 0x0001, which holds chunks");

  ChunkWriter dataFirst;
  dataFirst.BeginChunk(1);
  dataFirst.Write("x", 1, &written);
  dataFirst.BeginChunk(2);
  EXPECT_EQ(dataFirst.failure(), "chunk 0x0002 begun inside chunk 0x0001, which holds data");

  ChunkWriter open;
  open.BeginChunk(1);
  EXPECT_FALSE(open.complete());
  open.EndChunk();
  open.EndChunk();
  EXPECT_EQ(open.failure(), "EndChunk without an open chunk");
}

// Two chunks at the top: a container with a data chunk and a string, then a data chunk.
ChunkFile sample() {
  ChunkWriter out;
  ULONG written = 0;
  out.BeginChunk(0x10);
  out.BeginChunk(0x11);
  out.Write("\x05\x00\x00\x00", 4, &written);
  out.EndChunk();
  out.BeginChunk(0x12);
  out.WriteWString("name");
  out.EndChunk();
  out.EndChunk();
  out.BeginChunk(0x20);
  out.Write("zz", 2, &written);
  out.EndChunk();
  return ChunkFile(out.bytes());
}

TEST(ChunkReader, WalksEachLevelInOrderAndSkipsWhatIsNotRead) {
  const ChunkFile file = sample();
  ChunkReader in(file, -1);
  ASSERT_EQ(in.OpenChunk(), IO_OK);
  EXPECT_EQ(in.CurChunkID(), 0x10);
  ASSERT_EQ(in.OpenChunk(), IO_OK);
  EXPECT_EQ(in.CurChunkID(), 0x11);
  EXPECT_EQ(in.OpenChunk(), IO_END);  // a data chunk has no chunks inside
  int32_t value = 0;
  ULONG read = 0;
  EXPECT_EQ(in.Read(&value, 4, &read), IO_OK);
  EXPECT_EQ(value, 5);
  in.CloseChunk();
  ASSERT_EQ(in.OpenChunk(), IO_OK);
  MCHAR* text = nullptr;
  EXPECT_EQ(in.ReadWStringChunk(text), IO_OK);
  EXPECT_EQ(qk_to_utf8(text), "name");
  in.CloseChunk();
  EXPECT_EQ(in.OpenChunk(), IO_END);
  in.CloseChunk();
  ASSERT_EQ(in.OpenChunk(), IO_OK);  // 0x20, without reading it
  EXPECT_EQ(in.CurChunkID(), 0x20);
  in.CloseChunk();
  EXPECT_EQ(in.OpenChunk(), IO_END);
  EXPECT_FALSE(in.failed());
}

TEST(ChunkReader, AReaderOfOneChunkSeesOnlyItsChildren) {
  const ChunkFile file = sample();
  ChunkReader in(file, 0);
  ASSERT_EQ(in.OpenChunk(), IO_OK);
  EXPECT_EQ(in.CurChunkID(), 0x11);
  in.CloseChunk();
  ASSERT_EQ(in.OpenChunk(), IO_OK);
  EXPECT_EQ(in.CurChunkID(), 0x12);
  in.CloseChunk();
  EXPECT_EQ(in.OpenChunk(), IO_END);
}

TEST(ChunkReader, AReadPastTheBodyFailsReadsNothingAndIsRecorded) {
  const ChunkFile file = sample();
  ChunkReader in(file, -1);
  in.OpenChunk();
  in.OpenChunk();
  char buffer[8] = {'-', '-', '-', '-', '-', '-', '-', '-'};
  ULONG read = 99;
  EXPECT_EQ(in.Read(buffer, 5, &read), IO_ERROR);
  EXPECT_EQ(read, 0u);
  EXPECT_EQ(buffer[0], '-');
  EXPECT_EQ(in.failure(), "chunk 0x0011 at offset 6: a read of 5 bytes where 4 are left");
  EXPECT_EQ(in.Read(buffer, 4, &read), IO_OK);  // the failed read took nothing
}

TEST(ChunkReader, BrokenStringsAreRefused) {
  for (const auto& [body, reason] : {std::pair{bytes({'a', 0, 0}), "a string of odd length 3"},
                                     std::pair{bytes({'a', 0}), "a string without its terminating 0 unit"},
                                     std::pair{std::string(), "a string without its terminating 0 unit"}}) {
    const std::string file = bytes({9, 0, static_cast<int>(6 + body.size()), 0, 0, 0}) + body;
    const ChunkFile parsed(file);
    ChunkReader in(parsed, -1);
    in.OpenChunk();
    MCHAR* text = nullptr;
    EXPECT_EQ(in.ReadWStringChunk(text), IO_ERROR);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text[0], 0);
    EXPECT_EQ(in.failure(), std::string("chunk 0x0009 at offset 0: ") + reason);
  }
}

TEST(ChunkFile, BrokenStructureIsRefusedWithWhereAndWhy) {
  EXPECT_EQ(refusal(bytes({1, 0, 6})), "truncated chunk header at offset 0: 3 bytes left in the file");
  EXPECT_EQ(refusal(bytes({1, 0, 5, 0, 0, 0})),
            "chunk 0x0001 at offset 0: length 5 is shorter than its 6-byte header");
  EXPECT_EQ(refusal(bytes({1, 0, 9, 0, 0, 0, 'a'})),
            "chunk 0x0001 at offset 0: length 9 runs past the end of the file (7 bytes left)");
  // A container whose body ends in half a header, and one whose child is longer than it.
  EXPECT_EQ(refusal(bytes({1, 0, 9, 0, 0, 0x80, 2, 0, 6})),
            "truncated chunk header at offset 6: 3 bytes left in chunk 0x0001 at offset 0");
  EXPECT_EQ(
      refusal(bytes({1, 0, 12, 0, 0, 0x80, 2, 0, 7, 0, 0, 0, 'x'})),
      "chunk 0x0002 at offset 6: length 7 runs past the end of chunk 0x0001 at offset 0 (6 bytes left)");
  EXPECT_EQ(refusal(bytes({1, 0, 6, 0, 0, 0, 2, 0, 6, 0, 0, 0})), "accepted");
  EXPECT_EQ(refusal(""), "accepted");
}

TEST(ChunkFile, NestingIsBounded) {
  auto nested = [](int depth) {
    std::string file;
    for (int level = depth; level > 0; --level) {
      const uint32_t length = 6u * static_cast<uint32_t>(level) | (level > 1 ? 0x80000000u : 0u);
      file += bytes({1, 0, static_cast<int>(length & 0xFF), static_cast<int>((length >> 8) & 0xFF), 0,
                     static_cast<int>(length >> 24)});
    }
    return file;
  };
  EXPECT_EQ(refusal(nested(MAX_CHUNK_DEPTH)), "accepted");
  EXPECT_EQ(refusal(nested(MAX_CHUNK_DEPTH + 1)),
            "chunk 0x0001 at offset 378: chunks nested deeper than 64 levels");
}

}  // namespace
