// MemBuffer::create and release of one size, again and again, against malloc and free of the same
// size: the recycled buffer comes back with its memory, so the usual create allocates nothing.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "PeerRatio.h"
#include "qk/MemBuffer.h"

namespace {

void BM_MemBufferCreateRelease(benchmark::State& state) {
  const size_t size = size_t(state.range(0));
  for (auto _ : state) {
    qk::RefPtr<qk::MemBuffer> buffer = qk::MemBuffer::create(size);
    benchmark::DoNotOptimize(buffer->mutableData());
  }
}

void BM_MallocFree(benchmark::State& state) {
  const size_t size = size_t(state.range(0));
  for (auto _ : state) {
    void* block = std::malloc(size);
    benchmark::DoNotOptimize(block);
    std::free(block);
  }
}

BENCHMARK(BM_MemBufferCreateRelease)->RangeMultiplier(4)->Range(1 << 10, 1 << 20);
BENCHMARK(BM_MallocFree)->RangeMultiplier(4)->Range(1 << 10, 1 << 20);

}  // namespace

int main(int argc, char** argv) {
  qkbench::Pairs pairs;
  for (int size = 1 << 10; size <= 1 << 20; size *= 4)
    pairs.emplace_back("BM_MemBufferCreateRelease/" + std::to_string(size),
                       "BM_MallocFree/" + std::to_string(size));
  return qkbench::runWithRatios(argc, argv, pairs);
}
