// ZlibInflateReader: a Reader that inflates deflate data taken from a source Reader.
//
// Input comes from the source by chunk() and skip(): inflate works on the source's own span, and the
// span is skipped in the source only once inflate has taken all of it, so no input is copied.
// Output goes straight to the consumer's memory for every read() that the chunk area doesn't serve
// (see DecodedOutput for the exact counting of read, skip, remaining and chunk).
//
// `raw` selects bare deflate data (window bits -15, as zip entries hold it); otherwise the data has
// the two-byte zlib header and the Adler-32 trailer. The init calls carry the version text and
// stream size of the zlib this build links, as that library's own check wants.
//
// Ends of the stream:
//   - the deflate stream ends: the output ends. Bytes the source still holds behind the end are
//     neither read nor skipped, so a source that doesn't end with the data isn't an error and
//     doesn't stall the reader.
//   - the source runs dry first: the output ends quietly, with `total` corrected to what came.
//   - the source's skip() passes over fewer bytes than its chunk() showed: ReadFormatError.
//   - corrupt data: ZlibError with zlib's code and its message (or zError's text for the code).
// A constructor whose init fails throws ZlibError.
//
// Ownership: doesn't own `source`, which must outlive the reader; the owner holds both, the source
// first. Not copied. Threads: one thread at a time.
#pragma once

#include <zlib.h>

#include "qk/DecodedOutput.h"
#include "qk/Reader.h"

namespace qk {

class ZlibInflateReader : public Reader {
 public:
  ZlibInflateReader(Reader* source, size_t total, bool raw);
  ~ZlibInflateReader() override;

  size_t read(void* dst, size_t n) override;
  size_t skip(size_t n) override;
  size_t remaining() override;
  ByteSpan chunk() override;

  // Bytes consumed so far, and the output size as now believed.
  size_t position() const { return output_.position(); }
  size_t total() const { return output_.total(); }

 private:
  // Inflates up to `n` bytes into `dst`; answers how many came, 0 once the stream has ended.
  size_t step(unsigned char* dst, size_t n);
  // Bytes of the source's span that inflate hasn't taken yet.
  size_t inputLeft() const;
  // Skips the whole span in the source, which must pass over all of it, and forgets it.
  void handOnInput();
  // Hands on the old span and takes the source's next one.
  void takeInput();

  Reader* source_;
  DecodedOutput output_;
  ByteSpan input_;
  z_stream stream_;
  bool finished_ = false;
};

}  // namespace qk
