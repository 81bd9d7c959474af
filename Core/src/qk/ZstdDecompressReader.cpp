#include "qk/ZstdDecompressReader.h"

#include "qk/ReadError.h"

namespace qk {

ZstdDecompressReader::ZstdDecompressReader(Reader* source, size_t total)
    : context_(ZstdContextPool::acquire()), output_(total), source_(source) {}

void ZstdDecompressReader::handOnInput() {
  ZSTD_inBuffer& input = context_->input;
  if (source_->skip(input.pos) != input.pos) throw ReadFormatError();
  input = {nullptr, 0, 0};
}

// A span is handed on to the source as soon as zstd has used all of it. At the end of a frame
// zstd keeps the span's last byte back until its output is flushed, so a frame's last span is
// handed on only once the frame is done. A source that has run dry while the frame still wants
// input shows as a call that neither takes input nor gives output.
size_t ZstdDecompressReader::step(unsigned char* dst, size_t n) {
  ZstdStreamContext& context = *context_;
  if (context.finished || n == 0) return 0;
  ZSTD_outBuffer out{dst, n, 0};
  for (;;) {
    bool dry = false;
    if (context.input.pos == context.input.size) {
      const ByteSpan span = source_->chunk();
      if (span.empty())
        dry = true;
      else
        context.input = {span.data, span.size, 0};
    }
    const size_t before = out.pos;
    const size_t ret = ZSTD_decompressStream(context.dctx, &out, &context.input);
    if (context.input.pos != 0 && context.input.pos == context.input.size) handOnInput();
    if (ret == 0) {
      context.finished = true;
      return out.pos;
    }
    if (ZSTD_isError(ret)) {
      context.finished = true;
      throw ZstdError(ret);
    }
    if (out.pos == out.size) return out.pos;
    if (dry && out.pos == before) throw ReadFormatError();
  }
}

size_t ZstdDecompressReader::read(void* dst, size_t n) {
  return output_.read(
      dst, n, [this](unsigned char* out, size_t k) { return step(out, k); }, [this] { return finished(); });
}

size_t ZstdDecompressReader::skip(size_t n) {
  return output_.skip(
      n, [this](unsigned char* out, size_t k) { return step(out, k); }, [this] { return finished(); });
}

size_t ZstdDecompressReader::remaining() { return output_.remaining(); }

ByteSpan ZstdDecompressReader::chunk() {
  return output_.chunk([this](unsigned char* out, size_t k) { return step(out, k); },
                       [this] { return finished(); });
}

}  // namespace qk
