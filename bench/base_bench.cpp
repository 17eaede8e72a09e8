// Memory services against the C heap they wrap: the wrapper must cost nothing.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "kxsupt/base.h"

namespace {

void AllocFreeOurs(benchmark::State &state) {
  for (auto _ : state) {
    void *block = SMAllocMem(64);
    benchmark::DoNotOptimize(block);
    SMFreeMem(block);
  }
}
BENCHMARK(AllocFreeOurs)->Name("alloc+free 64 B/ours");

void AllocFreeAnchor(benchmark::State &state) {
  for (auto _ : state) {
    void *block = std::malloc(64);
    benchmark::DoNotOptimize(block);
    std::free(block);
  }
}
BENCHMARK(AllocFreeAnchor)->Name("alloc+free 64 B/anchor");

}  // namespace
