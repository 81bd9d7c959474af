// ZlibInflateReader over any bytes, raw deflate or zlib-wrapped (bit 0 of the control byte),
// against inflate with all the input at hand. Only ReadFormatError and ZlibError may leave the
// reader; see ReaderDrive.h for the input's layout and the properties asserted.
#include <zlib.h>

#include <cstdint>

#include "ReaderDrive.h"
#include "qk/ZlibInflateReader.h"

namespace {

fuzzdrive::Reference inflateAll(const uint8_t* stream, size_t size, bool raw) {
  fuzzdrive::Reference reference;
  z_stream z{};
  if (inflateInit2(&z, raw ? -15 : 15) != Z_OK) std::abort();
  z.next_in = const_cast<Bytef*>(stream);
  z.avail_in = uInt(size);
  unsigned char block[65536];
  for (;;) {
    z.next_out = block;
    z.avail_out = sizeof block;
    const int ret = inflate(&z, Z_NO_FLUSH);
    reference.bytes.append(reinterpret_cast<const char*>(block), sizeof block - z.avail_out);
    if (ret == Z_STREAM_END) break;
    if (ret != Z_OK && ret != Z_BUF_ERROR) {
      reference.end = fuzzdrive::End::Failed;
      break;
    }
    if (reference.bytes.size() >= fuzzdrive::kReferenceBytes) {
      reference.cut = true;
      break;
    }
    if (z.avail_in == 0 && z.avail_out != 0) {  // all input taken, and the stream wants more
      reference.end = fuzzdrive::End::Incomplete;
      break;
    }
  }
  inflateEnd(&z);
  return reference;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < fuzzdrive::kControlBytes) return 0;
  const bool raw = (data[0] & 1) == 0;
  const uint8_t* stream = data + fuzzdrive::kControlBytes;
  const size_t streamSize = size - fuzzdrive::kControlBytes;
  const fuzzdrive::Reference reference = inflateAll(stream, streamSize, raw);

  fuzzdrive::PieceSource source(stream, streamSize, fuzzdrive::pieceSize(data[0]));
  qk::ZlibInflateReader reader(&source, reference.bytes.size(), raw);
  size_t position = 0;
  fuzzdrive::End end = fuzzdrive::End::Open;
  try {
    end = fuzzdrive::drive(reader, data + 1, reference, position);
  } catch (const qk::ZlibError&) {
    end = fuzzdrive::End::Failed;
  }
  // A source that runs dry mid-stream ends the output quietly.
  fuzzdrive::expectSameEnd(end, reference, position, true);
  return 0;
}
