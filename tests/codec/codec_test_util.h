// Helpers shared by the codec tests: seeded random buffers.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

inline std::vector<uint8_t> RandomBytes(std::mt19937_64 &rng, size_t n) {
  std::vector<uint8_t> bytes(n);
  for (auto &b : bytes) b = static_cast<uint8_t>(rng());
  return bytes;
}
