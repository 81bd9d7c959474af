// ZstdDecompressReader over any bytes, against ZSTD_decompressStream with all the input at hand.
// Only ReadFormatError and ZstdError may leave the reader; see ReaderDrive.h for the input's layout
// and the properties asserted.
#include <zstd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "ReaderDrive.h"
#include "qk/ZstdContextPool.h"
#include "qk/ZstdDecompressReader.h"

namespace {

// The first frame of `stream`, decoded by the library alone, its input handed over in spans of
// `in` bytes (as the reader's source shows them) and its output taken in pieces of `out` bytes.
fuzzdrive::Reference decodeFirstFrame(const uint8_t* stream, size_t size, size_t inPiece, size_t outPiece) {
  fuzzdrive::Reference reference;
  const std::unique_ptr<ZSTD_DCtx, size_t (*)(ZSTD_DCtx*)> context(ZSTD_createDCtx(), ZSTD_freeDCtx);
  size_t offset = 0;
  ZSTD_inBuffer in{stream, std::min(inPiece, size), 0};
  unsigned char block[65536];
  for (;;) {
    if (in.pos == in.size && offset + in.size < size) {  // the next span, once zstd took all of one
      offset += in.size;
      in = {stream + offset, std::min(inPiece, size - offset), 0};
    }
    ZSTD_outBuffer out{block, outPiece, 0};
    const size_t ret = ZSTD_decompressStream(context.get(), &out, &in);
    reference.bytes.append(reinterpret_cast<const char*>(block), out.pos);
    if (ZSTD_isError(ret)) {
      reference.end = fuzzdrive::End::Failed;
      break;
    }
    if (ret == 0) break;
    if (reference.bytes.size() >= fuzzdrive::kReferenceBytes) {
      reference.cut = true;
      break;
    }
    if (offset + in.pos == size && out.pos < out.size) {  // all input taken, and the frame wants more
      reference.end = fuzzdrive::End::Incomplete;
      break;
    }
  }
  return reference;
}

// The reference of a stream, its input in the reader's spans. Where a frame is corrupt, zstd's
// checks depend on the pieces it decodes into: a whole frame in one pass into a large enough piece
// gives no output at all and checks the content size; small pieces give the bytes before the
// failure and may end the frame cleanly. A frame that fails is decoded both ways: the longer
// output is the reference, and any end of the reader is allowed (ReaderDrive.h still checks its
// bytes, and only the named errors may leave it).
fuzzdrive::Reference decodeReference(const uint8_t* stream, size_t size, size_t inPiece) {
  fuzzdrive::Reference whole = decodeFirstFrame(stream, size, inPiece, 65536);
  if (whole.end != fuzzdrive::End::Failed) return whole;
  fuzzdrive::Reference pieces = decodeFirstFrame(stream, size, inPiece, 1);
  fuzzdrive::Reference& longer = pieces.bytes.size() >= whole.bytes.size() ? pieces : whole;
  longer.end = fuzzdrive::End::Failed;
  longer.anyEnd = true;
  return longer;
}

// zstd keeps a context's buffers across frames (a reset doesn't shrink them), and a frame whose
// blocks break its own window size is refused only by a context whose buffers are no larger than
// that window needs; one with larger buffers from an earlier frame reads on. So that what the
// reader refuses doesn't depend on the inputs before, the pooled context the reader will take is
// replaced by a fresh one first, as the reference's is.
void freshPooledContext() {
  qk::ZstdStreamContext* context = qk::ZstdContextPool::acquire();
  ZSTD_freeDCtx(context->dctx);
  context->dctx = ZSTD_createDCtx();
  if (!context->dctx) std::abort();
  qk::ZstdContextPool::release(context);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < fuzzdrive::kControlBytes) return 0;
  const uint8_t* stream = data + fuzzdrive::kControlBytes;
  const size_t streamSize = size - fuzzdrive::kControlBytes;
  const size_t piece = fuzzdrive::pieceSize(data[0]);
  const fuzzdrive::Reference reference = decodeReference(stream, streamSize, piece);

  freshPooledContext();
  fuzzdrive::PieceSource source(stream, streamSize, piece);
  qk::ZstdDecompressReader reader(&source, reference.bytes.size());
  size_t position = 0;
  fuzzdrive::End end = fuzzdrive::End::Open;
  try {
    end = fuzzdrive::drive(reader, data + 1, reference, position);
  } catch (const qk::ZstdError&) {
    end = fuzzdrive::End::Failed;
    unsigned char byte;
    if (reader.read(&byte, 1) != 0) fuzzdrive::violation("a failed reader gave more", position);
  }
  fuzzdrive::expectSameEnd(end, reference, position, false);
  return 0;
}
