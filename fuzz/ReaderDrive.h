// The drive of a decompressing reader under the fuzzer, shared by the zstd and inflate targets.
//
// An input is a control block and a compressed stream:
//   byte 0       target-specific (the inflate target takes bit 0 for raw or zlib-wrapped data);
//                bits 5..7 choose how many bytes the source's chunk() shows at a time
//   bytes 1..8   the consumer's script: each byte is one step, cycled; bits 0..1 the kind (read,
//                skip, chunk then read what it showed, chunk then skip part of it), bits 2..7 an
//                index into kSizes
//   the rest     the stream
// The same stream is decoded once more by the plain library call with all its input at hand: the
// reference. Whatever the consumer's steps, every byte the reader gives must be the reference's
// byte at that position, no step may give more than asked, chunk() must show the same span until
// the consumer moves on, and the reader must end the way the reference ended: cleanly with as
// many bytes, or with the exception the reference's failure calls for. A violation aborts.
// Output is followed up to kMaxOutput bytes, which keeps a small input that expands a lot fast.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "qk/BufferReader.h"
#include "qk/ReadError.h"
#include "qk/Reader.h"
#include "qk/SharedBuffer.h"

namespace fuzzdrive {

constexpr size_t kControlBytes = 9;
constexpr size_t kMaxOutput = size_t(1) << 20;
constexpr size_t kChunkArea = 1024;  // DecodedOutput's chunk size

// How a decoding ended. Open: the consumer stopped before the end (a script of steps of 0 bytes,
// or kMaxOutput reached).
enum class End { Clean, Incomplete, Failed, Open };

// The reference decodes up to kReferenceBytes, so that a step that starts just below kMaxOutput
// still has the bytes to be checked against.
constexpr size_t kReferenceBytes = 2 * kMaxOutput + 1;

struct Reference {
  std::string bytes;
  End end = End::Clean;
  bool cut = false;     // stopped at kReferenceBytes: the stream goes on
  bool anyEnd = false;  // how a consumer's decoding ends depends on the sizes it decodes into
};

[[noreturn]] inline void violation(const char* what, size_t position) {
  std::fprintf(stderr, "reader property violated: %s (at output byte %zu)\n", what, position);
  std::abort();
}

// A source over the stream whose chunk() shows at most `piece` bytes at a time.
class PieceSource : public qk::Reader {
 public:
  PieceSource(const uint8_t* data, size_t size, size_t piece) : inner_(bufferOf(data, size)), piece_(piece) {}
  size_t read(void* dst, size_t n) override { return inner_.read(dst, n); }
  size_t skip(size_t n) override { return inner_.skip(n); }
  size_t remaining() override { return inner_.remaining(); }
  qk::ByteSpan chunk() override {
    qk::ByteSpan span = inner_.chunk();
    span.size = std::min(span.size, piece_);
    return span;
  }

 private:
  static qk::RefPtr<qk::IBuffer> bufferOf(const uint8_t* data, size_t size) {
    qk::RefPtr<qk::SharedBuffer> buffer = qk::SharedBuffer::create(size);
    if (size) std::memcpy(buffer->mutableData(), data, size);
    return qk::RefPtr<qk::IBuffer>(std::move(buffer));
  }
  qk::BufferReader inner_;
  size_t piece_;
};

inline size_t pieceSize(uint8_t control) {
  static const size_t kPieces[8] = {SIZE_MAX, 1, 2, 7, 64, 1000, 4096, SIZE_MAX};
  return kPieces[control >> 5];
}

// Sizes of the consumer's steps: around the small-read limit (256) and the chunk area (1024).
constexpr size_t kSizes[64] = {
    0,      1,      2,      3,      5,      8,      13,     31,     32,     33,     100,    200,    255,
    256,    257,    300,    511,    512,    513,    700,    1000,   1023,   1024,   1025,   1500,   2047,
    2048,   2049,   3000,   4095,   4096,   4097,   5000,   8191,   8192,   8193,   9000,   12000,  16383,
    16384,  16385,  20000,  30000,  32767,  32768,  32769,  40000,  50000,  65535,  65536,  65537,  70000,
    100000, 131071, 131072, 131073, 200000, 262144, 300000, 400000, 500000, 524288, 700000, 1048576};

// Checks `got` bytes just delivered at `position` against the reference. Before a failure zstd
// gives more or fewer bytes depending on the pieces it writes into, so past the end of a failing
// reference's bytes the reader's are taken on trust; the reader must still fail.
inline void expectReference(const Reference& reference, size_t position, const unsigned char* got,
                            size_t count) {
  const size_t known =
      position < reference.bytes.size() ? std::min(count, reference.bytes.size() - position) : 0;
  if (known < count && reference.end != End::Failed) violation("more bytes than the reference has", position);
  if (known && std::memcmp(got, reference.bytes.data() + position, known) != 0)
    violation("bytes differ from the reference", position);
}

// Runs the consumer's script on `reader` until the stream ends or the reader throws. Answers how
// the reader ended; `position` is the count of bytes consumed.
template <class ReaderT>
End drive(ReaderT& reader, const uint8_t* script, const Reference& reference, size_t& position) {
  static unsigned char out[1048576];
  position = 0;
  size_t idle = 0;  // steps in a row that moved nothing
  try {
    for (size_t step = 0; position < kMaxOutput && idle < 8; ++step) {
      const size_t before = position;
      const uint8_t op = script[step % 8];
      const size_t n = kSizes[op >> 2];
      switch (op & 3) {
        case 0: {  // read
          const size_t got = reader.read(out, n);
          if (got > n) violation("read gave more than asked", position);
          expectReference(reference, position, out, got);
          position += got;
          if (n && got < n) return End::Clean;  // fewer than asked only at the end
          break;
        }
        case 1: {  // skip
          const size_t passed = reader.skip(n);
          if (passed > n) violation("skip passed over more than asked", position);
          position += passed;
          if (n && passed < n) return End::Clean;
          break;
        }
        default: {  // chunk, then read or skip part of it
          const qk::ByteSpan span = reader.chunk();
          if (span.size > kChunkArea) violation("chunk larger than the chunk area", position);
          const qk::ByteSpan again = reader.chunk();
          if (again.data != span.data || again.size != span.size)
            violation("chunk changed without a step", position);
          if (span.empty()) return End::Clean;
          expectReference(reference, position, span.data, span.size);
          const size_t take = std::min(n, span.size);
          if ((op & 3) == 2) {
            if (reader.read(out, take) != take) violation("read of a shown chunk came short", position);
            if (take && std::memcmp(out, span.data, take) != 0)
              violation("read differs from chunk", position);
          } else if (reader.skip(take) != take) {
            violation("skip of a shown chunk came short", position);
          }
          position += take;
          break;
        }
      }
      (void)reader.remaining();
      idle = position == before ? idle + 1 : 0;
    }
  } catch (const qk::ReadFormatError&) {
    return End::Incomplete;
  }
  return End::Open;
}

// The reader's end against the reference's, once the drive is over (End::Failed: the reader threw
// the codec's own error). `incompleteEndsQuietly`: the reader's rule for a source that runs dry
// mid-stream is a clean end (inflate) rather than ReadFormatError (zstd).
inline void expectSameEnd(End reader, const Reference& reference, size_t position,
                          bool incompleteEndsQuietly) {
  if (reader == End::Open || reference.anyEnd) return;  // not followed to its end, or no telling
  if (reference.cut) violation("the reader ended where the reference goes on", position);
  End expected = reference.end;
  if (expected == End::Incomplete && incompleteEndsQuietly) expected = End::Clean;
  if (reader != expected) violation("the reader ended unlike the reference", position);
  if (reader == End::Clean && position != reference.bytes.size())
    violation("the reader ended with a length unlike the reference's", position);
}

}  // namespace fuzzdrive
