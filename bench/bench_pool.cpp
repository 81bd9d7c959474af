// ObjectPool acquire and release of an object, against new and delete of the same object, on one
// thread and on two threads sharing the pool.
#include <cstdint>

#include <benchmark/benchmark.h>

#include "PeerRatio.h"
#include "qk/ObjectPool.h"

namespace {

// The size of a small reader object.
struct Pooled {
  explicit Pooled(uint64_t v) : value(v) {}
  uint64_t value;
  uint64_t fields[7] = {};
};

qk::ObjectPool pool("bench/Pooled", sizeof(Pooled), 128);

void BM_PoolAcquireRelease(benchmark::State& state) {
  uint64_t i = 0;
  for (auto _ : state) {
    Pooled* object = qk::pool_new<Pooled>(pool, ++i);
    benchmark::DoNotOptimize(object);
    qk::pool_delete(pool, object);
  }
}
BENCHMARK(BM_PoolAcquireRelease)->Threads(1)->Threads(2)->UseRealTime();

void BM_NewDelete(benchmark::State& state) {
  uint64_t i = 0;
  for (auto _ : state) {
    Pooled* object = new Pooled(++i);
    benchmark::DoNotOptimize(object);
    delete object;
  }
}
BENCHMARK(BM_NewDelete)->Threads(1)->Threads(2)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  return qkbench::runWithRatios(
      argc, argv,
      {{"BM_PoolAcquireRelease/real_time/threads:1", "BM_NewDelete/real_time/threads:1"},
       {"BM_PoolAcquireRelease/real_time/threads:2", "BM_NewDelete/real_time/threads:2"}});
}
