// ZstdDecompressReader: a Reader that decompresses one zstd frame taken from a source Reader.
//
// Input comes from the source by chunk() and skip(): zstd works on the source's own span, which is
// skipped in the source once zstd has taken all of it, so no input is copied. Output goes straight
// to the consumer's memory for every read() that the chunk area doesn't serve (see DecodedOutput
// for the exact counting of read, skip, remaining and chunk). The stream context comes from
// ZstdContextPool and goes back there when the reader ends.
//
// Ends of the stream:
//   - the frame ends: the output ends. Anything behind the frame, a second frame too, isn't read.
//   - the source runs dry before the frame ends, or its skip() passes over fewer bytes than its
//     chunk() showed: ReadFormatError ("Not enough input data").
//   - corrupt data: ZstdError with zstd's code and text. The reader is finished from then on: every
//     later read gives 0.
// A frame with or without its content size in the header reads the same; `total` is what the
// owner says.
//
// Ownership: doesn't own `source`, which must outlive the reader; the owner holds both, the source
// first. Not copied. Threads: one thread at a time; readers on many threads may come and go.
#pragma once

#include <memory>

#include "qk/DecodedOutput.h"
#include "qk/Reader.h"
#include "qk/ZstdContextPool.h"

namespace qk {

class ZstdDecompressReader : public Reader {
 public:
  ZstdDecompressReader(Reader* source, size_t total);

  size_t read(void* dst, size_t n) override;
  size_t skip(size_t n) override;
  size_t remaining() override;
  ByteSpan chunk() override;

  // Bytes consumed so far, and the output size as now believed.
  size_t position() const { return output_.position(); }
  size_t total() const { return output_.total(); }

 private:
  // Decompresses up to `n` bytes into `dst`; answers how many came, 0 once the frame has ended.
  size_t step(unsigned char* dst, size_t n);
  // Skips the span zstd has used up in the source and forgets it.
  void handOnInput();
  bool finished() const { return context_->finished; }

  // Declared first so that it goes back to the pool after the chunk area is freed.
  std::unique_ptr<ZstdStreamContext, ZstdContextPool::Release> context_;
  DecodedOutput output_;
  Reader* source_;
};

}  // namespace qk
