// ZstdDecompressReader over any bytes, against ZSTD_decompressStream with all the input at hand.
// Only ReadFormatError and ZstdError may leave the reader; see ReaderDrive.h for the input's layout
// and the properties asserted.
#include <zstd.h>

#include <cstdint>
#include <memory>

#include "ReaderDrive.h"
#include "qk/ZstdDecompressReader.h"

namespace {

// The first frame of `stream`, decoded by the library alone.
fuzzdrive::Reference decodeFirstFrame(const uint8_t* stream, size_t size) {
  fuzzdrive::Reference reference;
  const std::unique_ptr<ZSTD_DCtx, size_t (*)(ZSTD_DCtx*)> context(ZSTD_createDCtx(), ZSTD_freeDCtx);
  ZSTD_inBuffer in{stream, size, 0};
  unsigned char block[65536];
  for (;;) {
    ZSTD_outBuffer out{block, sizeof block, 0};
    const size_t ret = ZSTD_decompressStream(context.get(), &out, &in);
    if (ZSTD_isError(ret)) {
      reference.end = fuzzdrive::End::Failed;
      break;
    }
    reference.bytes.append(reinterpret_cast<const char*>(block), out.pos);
    if (ret == 0) break;
    if (reference.bytes.size() >= fuzzdrive::kReferenceBytes) {
      reference.cut = true;
      break;
    }
    if (in.pos == in.size && out.pos < out.size) {  // all input taken, and the frame wants more
      reference.end = fuzzdrive::End::Incomplete;
      break;
    }
  }
  return reference;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < fuzzdrive::kControlBytes) return 0;
  const uint8_t* stream = data + fuzzdrive::kControlBytes;
  const size_t streamSize = size - fuzzdrive::kControlBytes;
  const fuzzdrive::Reference reference = decodeFirstFrame(stream, streamSize);

  fuzzdrive::PieceSource source(stream, streamSize, fuzzdrive::pieceSize(data[0]));
  qk::ZstdDecompressReader reader(&source, reference.bytes.size());
  size_t position = 0;
  fuzzdrive::End end = fuzzdrive::End::Clean;
  bool failed = false;
  try {
    end = fuzzdrive::drive(reader, data + 1, reference, position);
  } catch (const qk::ZstdError&) {
    failed = true;
    unsigned char byte;
    if (reader.read(&byte, 1) != 0) fuzzdrive::violation("a failed reader gave more", position);
  }
  fuzzdrive::expectSameEnd(end, failed, reference, position, false);
  return 0;
}
