// The decompressing readers against their libraries alone: a 64 MiB stream read in 4 KiB and in
// 1 MiB pieces. Ours stands on a BufferReader over the compressed bytes, as a driver's reader
// stands on its source; the peer calls ZSTD_decompressStream or inflate on the same bytes with the
// same output pieces. The ratio is the cost of the reader layer.
#include <benchmark/benchmark.h>
#include <zlib.h>
#include <zstd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "PeerRatio.h"
#include "qk/BufferReader.h"
#include "qk/SharedBuffer.h"
#include "qk/ZlibInflateReader.h"
#include "qk/ZstdDecompressReader.h"

namespace {

constexpr size_t kStreamSize = size_t(64) << 20;

// Text of words picked by a fixed generator: it compresses about as well as scripts and metadata.
const std::string& plainText() {
  static const std::string text = [] {
    static const char* const words[] = {"material ", "shader ",  "uniform ", "texture ", "channel ",
                                        "opacity ",  "decal ",   "blend ",   "shadow ",  "depth\n",
                                        "terrain ",  "grass ",   "mesh ",    "spline ",  "0.25 ",
                                        "1.0 ",      "default ", "metal ",   "normal\n", "bias "};
    std::string out;
    out.reserve(kStreamSize + 16);
    uint32_t state = 12345;
    while (out.size() < kStreamSize) {
      state = state * 1664525u + 1013904223u;
      out += words[(state >> 16) % 20];
    }
    out.resize(kStreamSize);
    return out;
  }();
  return text;
}

qk::RefPtr<qk::IBuffer> shared(const void* bytes, size_t size) {
  qk::RefPtr<qk::SharedBuffer> buffer = qk::SharedBuffer::create(size);
  std::memcpy(buffer->mutableData(), bytes, size);
  return qk::RefPtr<qk::IBuffer>(std::move(buffer));
}

const qk::RefPtr<qk::IBuffer>& zstdStream() {
  static const qk::RefPtr<qk::IBuffer> packed = [] {
    const std::string& plain = plainText();
    std::vector<char> out(ZSTD_compressBound(plain.size()));
    const size_t size = ZSTD_compress(out.data(), out.size(), plain.data(), plain.size(), 3);
    return shared(out.data(), size);
  }();
  return packed;
}

const qk::RefPtr<qk::IBuffer>& deflateStream() {
  static const qk::RefPtr<qk::IBuffer> packed = [] {
    const std::string& plain = plainText();
    z_stream stream{};
    deflateInit2(&stream, 6, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
    std::vector<unsigned char> out(deflateBound(&stream, plain.size()));
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(plain.data()));
    stream.avail_in = uInt(plain.size());
    stream.next_out = out.data();
    stream.avail_out = uInt(out.size());
    deflate(&stream, Z_FINISH);
    const size_t size = stream.total_out;
    deflateEnd(&stream);
    return shared(out.data(), size);
  }();
  return packed;
}

void finish(benchmark::State& state, size_t produced) {
  if (produced != kStreamSize) state.SkipWithError("wrong output size");
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kStreamSize));
}

void BM_ZstdReader(benchmark::State& state) {
  const size_t piece = size_t(state.range(0));
  std::vector<unsigned char> dst(piece);
  size_t produced = 0;
  for (auto _ : state) {
    qk::BufferReader source(zstdStream());
    qk::ZstdDecompressReader reader(&source, kStreamSize);
    produced = 0;
    while (size_t got = reader.read(dst.data(), piece)) produced += got;
    benchmark::DoNotOptimize(dst.data());
  }
  finish(state, produced);
}

void BM_ZstdStream(benchmark::State& state) {
  const size_t piece = size_t(state.range(0));
  std::vector<unsigned char> dst(piece);
  ZSTD_DCtx* dctx = ZSTD_createDCtx();
  size_t produced = 0;
  for (auto _ : state) {
    ZSTD_DCtx_reset(dctx, ZSTD_reset_session_and_parameters);
    ZSTD_inBuffer in{zstdStream()->data(), zstdStream()->size(), 0};
    produced = 0;
    for (;;) {
      ZSTD_outBuffer out{dst.data(), piece, 0};
      const size_t ret = ZSTD_decompressStream(dctx, &out, &in);
      produced += out.pos;
      if (ret == 0 || ZSTD_isError(ret)) break;
    }
    benchmark::DoNotOptimize(dst.data());
  }
  ZSTD_freeDCtx(dctx);
  finish(state, produced);
}

void BM_InflateReader(benchmark::State& state) {
  const size_t piece = size_t(state.range(0));
  std::vector<unsigned char> dst(piece);
  size_t produced = 0;
  for (auto _ : state) {
    qk::BufferReader source(deflateStream());
    qk::ZlibInflateReader reader(&source, kStreamSize, true);
    produced = 0;
    while (size_t got = reader.read(dst.data(), piece)) produced += got;
    benchmark::DoNotOptimize(dst.data());
  }
  finish(state, produced);
}

void BM_Inflate(benchmark::State& state) {
  const size_t piece = size_t(state.range(0));
  std::vector<unsigned char> dst(piece);
  size_t produced = 0;
  for (auto _ : state) {
    z_stream stream{};
    inflateInit2(&stream, -15);
    stream.next_in = static_cast<Bytef*>(const_cast<void*>(deflateStream()->data()));
    stream.avail_in = uInt(deflateStream()->size());
    produced = 0;
    for (;;) {
      stream.next_out = dst.data();
      stream.avail_out = uInt(piece);
      const int ret = inflate(&stream, Z_SYNC_FLUSH);
      produced += piece - stream.avail_out;
      if (ret != Z_OK) break;
    }
    inflateEnd(&stream);
    benchmark::DoNotOptimize(dst.data());
  }
  finish(state, produced);
}

BENCHMARK(BM_ZstdReader)->Arg(4096)->Arg(1 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ZstdStream)->Arg(4096)->Arg(1 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_InflateReader)->Arg(4096)->Arg(1 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Inflate)->Arg(4096)->Arg(1 << 20)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  // Compress the streams before any timing starts.
  zstdStream();
  deflateStream();
  return qkbench::runWithRatios(argc, argv,
                                {{"BM_ZstdReader/4096", "BM_ZstdStream/4096"},
                                 {"BM_ZstdReader/1048576", "BM_ZstdStream/1048576"},
                                 {"BM_InflateReader/4096", "BM_Inflate/4096"},
                                 {"BM_InflateReader/1048576", "BM_Inflate/1048576"}});
}
