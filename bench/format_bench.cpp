// The formatter against the C library's snprintf on the same formats and
// values: integers with flags, strings, and doubles with %f, %e and %g. Ours
// includes taking and releasing the formatter's mutex on every call.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "format/format.h"
#include "kxsupt/format.h"

namespace {

constexpr size_t kValues = 256;  // cycled so that every call sees fresh digits

struct Inputs {
  std::vector<int> ints;
  std::vector<long> longs;
  std::vector<double> doubles;
  Inputs() {
    std::mt19937_64 rng(42);
    for (size_t i = 0; i < kValues; ++i) {
      ints.push_back(static_cast<int>(rng() >> (33 + i % 28)) * (i % 3 == 0 ? -1 : 1));
      longs.push_back(static_cast<long>(rng() >> (i % 60)) * (i % 2 == 0 ? -1 : 1));
      doubles.push_back(
          std::ldexp(static_cast<double>(rng() >> 11), static_cast<int>(i % 80) - 90) *
          (i % 4 == 0 ? -1 : 1));
    }
  }
};

const Inputs &Values() {
  static const Inputs inputs;
  return inputs;
}

const char *const kWords[] = {"alpha", "", "a rather longer string of text", "x", "ratio", "ok"};

// Ours runs with the formatter's module up, as in an attached library (the
// benchmark has no product registry, so the library itself did not attach).
template <bool kOurs>
void Prepare() {
  if constexpr (kOurs) kx::format::FormatAttach();
}

// One call to either engine; the format is a run-time value for both.
template <bool kOurs, typename... Args>
void Emit(char *dest, size_t size, const char *format, Args... args) {
  if constexpr (kOurs) {
    SMsnprintf(dest, static_cast<uint32_t>(size), format, args...);
  } else {
    std::snprintf(dest, size, format, args...);
  }
}

template <bool kOurs>
void Integers(benchmark::State &state) {
  Prepare<kOurs>();
  const Inputs &in = Values();
  const char *format = "%d %5u %-8x|%#o %+ld %08.3d %lX";
  char buffer[128];
  size_t i = 0;
  for (auto _ : state) {
    const size_t k = i++ % kValues;
    Emit<kOurs>(buffer, sizeof buffer, format, in.ints[k], in.ints[(k + 1) % kValues],
                in.ints[k ^ 7], in.ints[k ^ 3], in.longs[k], in.ints[k ^ 9], in.longs[k ^ 5]);
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(Integers<true>)->Name("format integers with flags/ours");
BENCHMARK(Integers<false>)->Name("format integers with flags/anchor");

template <bool kOurs>
void Strings(benchmark::State &state) {
  Prepare<kOurs>();
  const char *format = "%s: %-10s|%.4s|%12s";
  char buffer[128];
  size_t i = 0;
  for (auto _ : state) {
    const size_t k = i++;
    Emit<kOurs>(buffer, sizeof buffer, format, kWords[k % 6], kWords[(k + 1) % 6],
                kWords[(k + 2) % 6], kWords[(k + 3) % 6]);
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(Strings<true>)->Name("format strings/ours");
BENCHMARK(Strings<false>)->Name("format strings/anchor");

template <bool kOurs>
void Doubles(benchmark::State &state, const char *format) {
  Prepare<kOurs>();
  const Inputs &in = Values();
  char buffer[512];
  size_t i = 0;
  for (auto _ : state) {
    Emit<kOurs>(buffer, sizeof buffer, format, in.doubles[i++ % kValues]);
    benchmark::DoNotOptimize(buffer);
  }
}
template <bool kOurs>
void FixedDoubles(benchmark::State &state) {
  Doubles<kOurs>(state, "%f");
}
template <bool kOurs>
void ExponentDoubles(benchmark::State &state) {
  Doubles<kOurs>(state, "%.6e");
}
template <bool kOurs>
void GeneralDoubles(benchmark::State &state) {
  Doubles<kOurs>(state, "%g");
}
BENCHMARK(FixedDoubles<true>)->Name("format double %f/ours");
BENCHMARK(FixedDoubles<false>)->Name("format double %f/anchor");
BENCHMARK(ExponentDoubles<true>)->Name("format double %.6e/ours");
BENCHMARK(ExponentDoubles<false>)->Name("format double %.6e/anchor");
BENCHMARK(GeneralDoubles<true>)->Name("format double %g/ours");
BENCHMARK(GeneralDoubles<false>)->Name("format double %g/anchor");

}  // namespace
