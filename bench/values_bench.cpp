// Typed value translation against the C library: parsing a 32-bit integer
// (grammar check and conversion) against strtol with its end-pointer and
// errno checks, and writing one (through the library's formatter) against
// snprintf. Separated-value lists against a std::string split and join.
#include <benchmark/benchmark.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "format/format.h"
#include "base/memory.h"
#include "values/translation.h"

namespace {

constexpr size_t kValues = 256;

struct Inputs {
  std::vector<int32_t> numbers;
  std::vector<std::string> texts;
  std::string list;
  Inputs() {
    std::mt19937 rng(7);
    for (size_t i = 0; i < kValues; ++i) {
      const auto n = static_cast<int32_t>(rng() >> (i % 31)) * (i % 2 == 0 ? -1 : 1);
      numbers.push_back(n);
      texts.push_back(std::to_string(n));
    }
    for (size_t i = 0; i < 64; ++i) list += " item" + std::to_string(i) + " ,";
  }
};

const Inputs &Values() {
  static const Inputs inputs;
  return inputs;
}

void ParseInt32Ours(benchmark::State &state) {
  const Inputs &in = Values();
  size_t i = 0;
  for (auto _ : state) {
    int32_t value;
    uint32_t size = sizeof value;
    const kx::Status status =
        kx::values::XLTUTF8ToTypeValue(in.texts[i++ % kValues].c_str(), &value, &size, 3);
    benchmark::DoNotOptimize(status);
    benchmark::DoNotOptimize(value);
  }
}
void ParseInt32Anchor(benchmark::State &state) {
  const Inputs &in = Values();
  size_t i = 0;
  for (auto _ : state) {
    const char *text = in.texts[i++ % kValues].c_str();
    char *end;
    errno = 0;
    const long value = std::strtol(text, &end, 10);
    const bool ok = *end == 0 && end != text && errno == 0;
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(ParseInt32Ours)->Name("values parse int32/ours");
BENCHMARK(ParseInt32Anchor)->Name("values parse int32/anchor");

// Ours runs with the formatter's module up, as in an attached library.
void WriteInt32Ours(benchmark::State &state) {
  kx::format::FormatAttach();
  const Inputs &in = Values();
  char text[32];
  size_t i = 0;
  for (auto _ : state) {
    uint32_t size = sizeof text;
    const kx::Status status =
        kx::values::XLTTypeValueToUTF8(&in.numbers[i++ % kValues], 4, text, &size, 3);
    benchmark::DoNotOptimize(status);
    benchmark::DoNotOptimize(text);
  }
}
void WriteInt32Anchor(benchmark::State &state) {
  const Inputs &in = Values();
  char text[32];
  size_t i = 0;
  for (auto _ : state) {
    const int n = std::snprintf(text, sizeof text, "%d", in.numbers[i++ % kValues]);
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(WriteInt32Ours)->Name("values write int32/ours");
BENCHMARK(WriteInt32Anchor)->Name("values write int32/anchor");

void ListOurs(benchmark::State &state) {
  const std::string &list = Values().list;
  for (auto _ : state) {
    uint32_t count;
    char *result = kx::values::UTF8ConvertXSVToYSV(list.c_str(), ',', ';', &count, nullptr);
    benchmark::DoNotOptimize(result);
    kx::base::FreeMem(result);
  }
}
void ListAnchor(benchmark::State &state) {
  const std::string &list = Values().list;
  for (auto _ : state) {
    std::string result;
    size_t start = 0;
    while (start <= list.size()) {
      size_t stop = list.find(',', start);
      if (stop == std::string::npos) stop = list.size();
      const size_t first = list.find_first_not_of(" \t\r\n", start);
      if (first < stop) {
        size_t last = stop;
        while (last > first && std::strchr(" \t\r\n", list[last - 1]) != nullptr) --last;
        result.append(list, first, last - first);
        result += ';';
      }
      start = stop + 1;
    }
    benchmark::DoNotOptimize(result);
  }
}
BENCHMARK(ListOurs)->Name("xsv convert 64 items/ours");
BENCHMARK(ListAnchor)->Name("xsv convert 64 items/anchor");

}  // namespace
