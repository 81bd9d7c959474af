#include "qk/ZlibInflateReader.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "qk/ReadError.h"

namespace qk {

namespace {

// zlib counts in 32-bit units; longer spans are fed in slices.
uInt slice(size_t n) { return static_cast<uInt>(std::min<size_t>(n, UINT_MAX)); }

}  // namespace

ZlibInflateReader::ZlibInflateReader(Reader* source, size_t total, bool raw)
    : source_(source), output_(total) {
  std::memset(&stream_, 0, sizeof stream_);
  const int ret = raw ? inflateInit2(&stream_, -15) : inflateInit(&stream_);
  if (ret != Z_OK) throw ZlibError(ret, stream_.msg);
}

ZlibInflateReader::~ZlibInflateReader() { inflateEnd(&stream_); }

size_t ZlibInflateReader::inputLeft() const {
  return input_.size - static_cast<size_t>(stream_.next_in - input_.data);
}

void ZlibInflateReader::handOnInput() {
  if (source_->skip(input_.size) != input_.size) throw ReadFormatError();
  input_ = {};
  stream_.next_in = nullptr;
}

void ZlibInflateReader::takeInput() {
  handOnInput();
  input_ = source_->chunk();
  stream_.next_in = const_cast<Bytef*>(input_.data);
}

size_t ZlibInflateReader::step(unsigned char* dst, size_t n) {
  if (finished_ || n == 0) return 0;
  stream_.next_out = dst;
  size_t room = n;
  for (;;) {
    if (inputLeft() == 0) takeInput();
    stream_.avail_in = slice(inputLeft());
    stream_.avail_out = slice(room);
    const uInt offered = stream_.avail_out;
    const int ret = inflate(&stream_, Z_SYNC_FLUSH);
    room -= offered - stream_.avail_out;
    if (inputLeft() == 0) handOnInput();
    switch (ret) {
      case Z_STREAM_END: finished_ = true; return n - room;
      case Z_BUF_ERROR:
        if (room == 0) return n;
        if (inputLeft() == 0) {
          finished_ = true;
          return n - room;
        }
        // Input and room both left, yet nothing moved: looping again would stall for good.
        throw ZlibError(ret, stream_.msg);
      case Z_OK: break;
      default: throw ZlibError(ret, stream_.msg);
    }
    if (room == 0) return n;
  }
}

size_t ZlibInflateReader::read(void* dst, size_t n) {
  return output_.read(
      dst, n, [this](unsigned char* out, size_t k) { return step(out, k); }, [this] { return finished_; });
}

size_t ZlibInflateReader::skip(size_t n) {
  return output_.skip(
      n, [this](unsigned char* out, size_t k) { return step(out, k); }, [this] { return finished_; });
}

size_t ZlibInflateReader::remaining() { return output_.remaining(); }

ByteSpan ZlibInflateReader::chunk() {
  return output_.chunk([this](unsigned char* out, size_t k) { return step(out, k); },
                       [this] { return finished_; });
}

}  // namespace qk
