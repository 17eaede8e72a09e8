// SDO benchmarks: building and reading a 100-value config against a std::map
// of byte vectors, the config/binary round trip (bytes per second), and the
// in-place lookup by ID in a 1,000-value binary.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <vector>

#include "kxsupt/sdo.h"

namespace {

struct Value {
  uint16_t id;
  std::vector<uint8_t> bytes;
};

// 100 values of 1 to 16 bytes under scattered IDs, in a shuffled order.
std::vector<Value> HundredValues() {
  std::mt19937 rng(42);
  std::vector<Value> values;
  for (uint16_t i = 0; i < 100; ++i) {
    Value value{static_cast<uint16_t>(1 + i * 37), std::vector<uint8_t>(1 + rng() % 16)};
    for (uint8_t &b : value.bytes) b = static_cast<uint8_t>(rng());
    values.push_back(std::move(value));
  }
  std::shuffle(values.begin(), values.end(), rng);
  return values;
}

void AddThenGetOurs(benchmark::State &state) {
  const std::vector<Value> values = HundredValues();
  uint8_t buffer[16];
  for (auto _ : state) {
    SDOConfig *config = SMSDOConfigAlloc();
    for (const Value &value : values) {
      SMSDOConfigAddData(config, value.id, 1, value.bytes.data(),
                         static_cast<uint32_t>(value.bytes.size()), 0);
    }
    for (const Value &value : values) {
      uint32_t size = sizeof buffer;
      SMSDOConfigGetDataByID(config, value.id, nullptr, buffer, &size);
      benchmark::DoNotOptimize(buffer);
    }
    SMSDOConfigFree(config);
  }
}
BENCHMARK(AddThenGetOurs)->Name("sdo add+get 100/ours");

void AddThenGetAnchor(benchmark::State &state) {
  const std::vector<Value> values = HundredValues();
  uint8_t buffer[16];
  for (auto _ : state) {
    std::map<uint16_t, std::vector<uint8_t>> config;
    for (const Value &value : values) config.emplace(value.id, value.bytes);
    for (const Value &value : values) {
      auto it = config.find(value.id);
      std::memcpy(buffer, it->second.data(), it->second.size());
      benchmark::DoNotOptimize(buffer);
    }
  }
}
BENCHMARK(AddThenGetAnchor)->Name("sdo add+get 100/anchor");

// A config of about 10 KB: 60 values, 4 children, and an array of 4 children.
SDOConfig *NestedConfig() {
  std::mt19937 rng(7);
  auto fill = [&rng](SDOConfig *config, int count) {
    for (int i = 0; i < count; ++i) {
      std::vector<uint8_t> bytes(1 + rng() % 40);
      for (uint8_t &b : bytes) b = static_cast<uint8_t>(rng());
      SMSDOConfigAddData(config, static_cast<uint16_t>(100 + i), 1, bytes.data(),
                         static_cast<uint32_t>(bytes.size()), 0);
    }
  };
  SDOConfig *config = SMSDOConfigAlloc();
  fill(config, 60);
  for (uint16_t i = 0; i < 4; ++i) {
    SDOConfig *child = SMSDOConfigAlloc();
    fill(child, 30);
    SMSDOConfigAddData(config, static_cast<uint16_t>(1 + i), 0x0D, child, 8, 0);
  }
  SDOConfig *elements[4];
  for (SDOConfig *&element : elements) {
    element = SMSDOConfigAlloc();
    fill(element, 30);
  }
  SMSDOConfigAddData(config, 50, 0x1D, elements, sizeof elements, 0);
  return config;
}

void RoundTripOurs(benchmark::State &state) {
  SDOConfig *config = NestedConfig();
  std::vector<uint8_t> image(SMSDOConfigGetBinarySize(config));
  for (auto _ : state) {
    uint32_t size = static_cast<uint32_t>(image.size());
    SMSDOConfigToBinary(config, image.data(), &size);
    SDOConfig *back = SMSDOBinaryToConfig(image.data());
    benchmark::DoNotOptimize(back);
    SMSDOConfigFree(back);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(image.size()));
  state.counters["image bytes"] = static_cast<double>(image.size());
  SMSDOConfigFree(config);
}
BENCHMARK(RoundTripOurs)->Name("sdo to binary+back 10KB/ours");

// 1,000 four-byte values (all inline): an 8,008-byte binary.
void InPlaceLookupOurs(benchmark::State &state) {
  SDOConfig *config = SMSDOConfigAlloc();
  std::vector<uint16_t> ids;
  for (uint32_t i = 0; i < 1000; ++i) {
    const uint16_t id = static_cast<uint16_t>(1 + i * 61);
    SMSDOConfigAddData(config, id, 1, &i, 4, 0);
    ids.push_back(id);
  }
  std::vector<uint8_t> image(SMSDOConfigGetBinarySize(config));
  uint32_t size = static_cast<uint32_t>(image.size());
  SMSDOConfigToBinary(config, image.data(), &size);
  SMSDOConfigFree(config);
  std::shuffle(ids.begin(), ids.end(), std::mt19937(3));
  size_t next = 0;
  uint32_t value = 0;
  for (auto _ : state) {
    uint32_t room = sizeof value;
    SMSDOBinaryGetDataByID(image.data(), ids[next], nullptr, &value, &room);
    benchmark::DoNotOptimize(value);
    next = next + 1 == ids.size() ? 0 : next + 1;
  }
}
BENCHMARK(InPlaceLookupOurs)->Name("sdo binary lookup by ID 1000/ours");

}  // namespace
