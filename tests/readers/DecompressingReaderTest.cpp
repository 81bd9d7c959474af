// The inflating and zstd readers on inputs made by Python's zlib and the zstd command: the bytes
// they give however they are consumed, their exact counting, and their failures.
#include <gtest/gtest.h>
#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

#include "ReaderTestSupport.h"
#include "qk/DecodedOutput.h"
#include "qk/ReadError.h"
#include "qk/ZlibInflateReader.h"
#include "qk/ZstdDecompressReader.h"

// A request the allocator refuses must come back as null, also under the sanitizers.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char* __tsan_default_options() { return "allocator_may_return_null=1"; }

namespace {

using readertest::drain;
using readertest::loadData;
using readertest::TrickleSource;

enum class Codec { RawDeflate, ZlibDeflate, Zstd };

qk::ReaderPtr<> decoder(Codec codec, qk::Reader* source, size_t total) {
  if (codec == Codec::Zstd) return qk::ReaderPtr<>(new qk::ZstdDecompressReader(source, total));
  return qk::ReaderPtr<>(new qk::ZlibInflateReader(source, total, codec == Codec::RawDeflate));
}

size_t positionOf(qk::Reader* reader) {
  if (auto* zstd = dynamic_cast<qk::ZstdDecompressReader*>(reader)) return zstd->position();
  return dynamic_cast<qk::ZlibInflateReader&>(*reader).position();
}

std::string text(const qk::ByteSpan& span) {
  return std::string(reinterpret_cast<const char*>(span.data), span.size);
}

struct Input {
  const char* file;
  Codec codec;
};

std::string testName(const ::testing::TestParamInfo<Input>& param) {
  std::string name = param.param.file;
  for (char& c : name)
    if (!isalnum(static_cast<unsigned char>(c))) c = '_';
  return name;
}

class Decoding : public ::testing::TestWithParam<Input> {
 protected:
  const std::string plain = loadData("good/readers/text.txt");
  const std::string packed = loadData(std::string("good/readers/") + GetParam().file);
  qk::BufferReader source{readertest::bufferOf(packed)};

  qk::ReaderPtr<> make(qk::Reader* from, size_t total) { return decoder(GetParam().codec, from, total); }
  qk::ReaderPtr<> make() { return make(&source, plain.size()); }
};

TEST_P(Decoding, GivesTheTextFromASourceThatShowsOneByteAtATime) {
  TrickleSource trickle(packed);
  auto reader = make(&trickle, plain.size());
  EXPECT_EQ(drain(*reader, 7), plain);
  EXPECT_EQ(reader->remaining(), 0u);
  EXPECT_EQ(trickle.remaining(), 0u);
}

// Chunks, reads and skips in a random mix: skips cross chunk-area boundaries with bytes still
// unread in the area, and each byte seen must be the text's byte at the consumer's position.
TEST_P(Decoding, MixedConsumptionSeesTheTextAndCountsPosition) {
  auto reader = make();
  std::mt19937 rng(7);
  size_t at = 0;
  std::string part(5000, '\0');
  while (at < plain.size()) {
    switch (rng() % 3) {
      case 0: {
        const qk::ByteSpan span = reader->chunk();
        ASSERT_EQ(text(span), plain.substr(at, span.size));
        const size_t used = rng() % (span.size + 1);
        ASSERT_EQ(reader->skip(used), used);
        at += used;
        break;
      }
      case 1: {
        const size_t got = reader->read(&part[0], rng() % 3000);
        ASSERT_EQ(part.substr(0, got), plain.substr(at, got));
        at += got;
        break;
      }
      default: {
        const size_t want = rng() % 5000;
        ASSERT_EQ(reader->skip(want), std::min(want, plain.size() - at));
        at += std::min(want, plain.size() - at);
      }
    }
    ASSERT_EQ(positionOf(reader.get()), at);
  }
}

TEST_P(Decoding, ChunkStaysUntilConsumed) {
  auto reader = make();
  char none;
  EXPECT_EQ(reader->read(&none, 0), 0u);
  EXPECT_EQ(reader->remaining(), plain.size());
  const qk::ByteSpan first = reader->chunk();
  ASSERT_EQ(first.size, 1024u);
  EXPECT_EQ(reader->remaining(), plain.size() + 1024);  // the unread area counts twice
  EXPECT_EQ(reader->read(&none, 0), 0u);
  const qk::ByteSpan again = reader->chunk();
  EXPECT_EQ(again.data, first.data);
  EXPECT_EQ(again.size, first.size);

  EXPECT_EQ(reader->skip(1), 1u);
  const qk::ByteSpan shorter = reader->chunk();
  EXPECT_EQ(shorter.data, first.data + 1);
  EXPECT_EQ(shorter.size, first.size - 1);

  std::string out(shorter.size, '\0');
  EXPECT_EQ(reader->read(&out[0], out.size()), out.size());
  EXPECT_EQ(positionOf(reader.get()), first.size);
  EXPECT_EQ(reader->remaining(), plain.size() - first.size);  // the area is empty again
}

TEST_P(Decoding, AStreamShorterThanItsTotalCorrectsTheTotal) {
  auto byRead = make(&source, plain.size() + 5000);
  EXPECT_EQ(drain(*byRead, 4096), plain);
  EXPECT_EQ(byRead->remaining(), 0u);

  qk::BufferReader again(readertest::bufferOf(packed));
  auto bySkip = make(&again, plain.size() + 5000);
  EXPECT_EQ(bySkip->skip(SIZE_MAX), plain.size());
  EXPECT_EQ(bySkip->remaining(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Readers, Decoding,
                         ::testing::Values(Input{"text.deflate", Codec::RawDeflate},
                                           Input{"text.zlib", Codec::ZlibDeflate},
                                           Input{"text.zst", Codec::Zstd},
                                           Input{"text-nosize.zst", Codec::Zstd},
                                           Input{"text-nocheck.zst", Codec::Zstd}),
                         testName);

// An end met by chunk() sets total to position + the whole chunk size, and the unread bytes
// count twice in remaining() until they are consumed; a read past them corrects total.
TEST(DecodingEnd, MetByChunkCountsTheWholeChunkArea) {
  for (const Input input : {Input{"ten.deflate", Codec::RawDeflate}, Input{"ten.zst", Codec::Zstd}}) {
    SCOPED_TRACE(input.file);
    qk::BufferReader source(readertest::bufferOf(loadData(std::string("good/readers/") + input.file)));
    auto reader = decoder(input.codec, &source, 10);
    EXPECT_EQ(text(reader->chunk()), "0123456789");
    EXPECT_EQ(reader->remaining(), 1034u);  // total 0 + 1024, and the 10 unread bytes
    EXPECT_EQ(text(reader->chunk()), "0123456789");
    EXPECT_EQ(reader->remaining(), 1034u);

    char out[10];
    EXPECT_EQ(reader->read(out, 10), 10u);
    EXPECT_EQ(reader->remaining(), 1014u);
    EXPECT_EQ(reader->read(out, 1), 0u);
    EXPECT_EQ(reader->remaining(), 0u);
  }
}

TEST(ZlibInflateReader, TruncatedStreamEndsQuietlyWithWhatCame) {
  const std::string plain = loadData("good/readers/text.txt");
  const std::string cut = loadData("bad/readers/truncated.deflate");
  qk::BufferReader whole(readertest::bufferOf(cut));
  TrickleSource trickle(cut);
  for (qk::Reader* source : {static_cast<qk::Reader*>(&whole), static_cast<qk::Reader*>(&trickle)}) {
    qk::ZlibInflateReader reader(source, plain.size(), true);
    const std::string out = drain(reader, 4096);
    EXPECT_GT(out.size(), 0u);
    EXPECT_LT(out.size(), plain.size());
    EXPECT_EQ(out, plain.substr(0, out.size()));
    EXPECT_EQ(reader.remaining(), 0u);
  }
}

TEST(ZlibInflateReader, CorruptDataThrowsZlibErrorWithZlibsMessage) {
  qk::BufferReader source(readertest::bufferOf(loadData("bad/readers/corrupt.deflate")));
  qk::ZlibInflateReader reader(&source, 65000, true);
  char out[100];
  try {
    reader.read(out, sizeof out);
    FAIL() << "no error";
  } catch (const qk::ZlibError& error) {
    EXPECT_EQ(error.code(), Z_DATA_ERROR);
    EXPECT_STREQ(error.what(), "invalid block type");
  }
  EXPECT_STREQ(qk::ZlibError(Z_DATA_ERROR).what(), zError(Z_DATA_ERROR));
}

TEST(ZlibInflateReader, ASourceThatSkipsShortThrowsReadFormatError) {
  TrickleSource lying(loadData("good/readers/text.deflate"), 100);
  qk::ZlibInflateReader reader(&lying, 65000, true);
  try {
    drain(reader, 4096);
    FAIL() << "no error";
  } catch (const qk::ReadError& error) {
    EXPECT_NE(dynamic_cast<const qk::ReadFormatError*>(&error), nullptr);
    EXPECT_STREQ(error.what(), "Not enough input data");
  }
}

// The deflate stream ends before its source does: the output ends there, and the bytes behind
// the stream's end are left in the source.
TEST(ZlibInflateReader, BytesBehindTheStreamStayInTheSource) {
  TrickleSource source(loadData("good/readers/text.deflate") + "TRAILER");
  qk::ZlibInflateReader reader(&source, 65000, true);
  EXPECT_EQ(drain(reader, 1000), loadData("good/readers/text.txt"));
  EXPECT_EQ(source.remaining(), 7u);
}

TEST(ZstdDecompressReader, StopsAtTheEndOfTheFirstFrame) {
  qk::BufferReader source(readertest::bufferOf(loadData("good/readers/two-frames.zst")));
  qk::ZstdDecompressReader reader(&source, 100);
  EXPECT_EQ(drain(reader, 64), "first frame\n");
  EXPECT_EQ(reader.remaining(), 0u);
  EXPECT_GT(source.remaining(), 0u);
}

TEST(ZstdDecompressReader, CorruptFrameThrowsAndThenGivesNothing) {
  qk::BufferReader source(readertest::bufferOf(loadData("bad/readers/corrupt.zst")));
  qk::ZstdDecompressReader reader(&source, 65000);
  std::string out(4096, '\0');
  try {
    reader.read(&out[0], out.size());
    FAIL() << "no error";
  } catch (const qk::ZstdError& error) {
    EXPECT_EQ(ZSTD_getErrorCode(error.code()), ZSTD_error_corruption_detected);
    EXPECT_STREQ(error.what(), ZSTD_getErrorName(error.code()));
  }
  EXPECT_EQ(reader.read(&out[0], out.size()), 0u);
  EXPECT_EQ(reader.skip(100), 0u);
}

TEST(ZstdDecompressReader, MissingInputThrowsReadFormatError) {
  const std::string cut = loadData("bad/readers/truncated.zst");
  qk::BufferReader whole(readertest::bufferOf(cut));
  TrickleSource trickle(cut);
  qk::BufferReader empty(readertest::bufferOf(""));
  TrickleSource lying(loadData("good/readers/text.zst"), 100);
  for (qk::Reader* source : std::initializer_list<qk::Reader*>{&whole, &trickle, &empty, &lying}) {
    qk::ZstdDecompressReader reader(source, 65000);
    EXPECT_THROW(drain(reader, 4096), qk::ReadFormatError);
  }
}

// Readers stack: a zstd frame that was deflated once more, read through both.
TEST(Readers, ZstdReaderStandsOnAnInflatingReader) {
  const std::string packed = loadData("good/readers/text.zst");
  qk::BufferReader file(readertest::bufferOf(loadData("good/readers/text.zst.deflate")));
  qk::ZlibInflateReader inflated(&file, packed.size(), true);
  qk::ZstdDecompressReader reader(&inflated, 65000);
  EXPECT_EQ(drain(reader, 100), loadData("good/readers/text.txt"));
  EXPECT_EQ(inflated.position(), packed.size());  // every byte of the frame handed on, no more
  // The inflating reader met its end by chunk(), so its total is that chunk's position + 1024.
  EXPECT_EQ(inflated.remaining(), 1024 - packed.size() % 1024);
}

}  // namespace
