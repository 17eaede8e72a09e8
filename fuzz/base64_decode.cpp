// Fuzzes the Base64 decoder with arbitrary text: the output buffer is exactly
// the documented size (bytes produced plus the NUL), the bytes must equal a
// one-group-at-a-time model of the rules, and the same input taken as bytes
// must survive an encode/decode round trip.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "codec/base64.h"
#include "kxsupt/codec.h"

namespace {

unsigned Sextet(uint8_t c) {
  const char *at = c == 0 ? nullptr : std::strchr(kx::codec::kBase64Alphabet, c);
  return at != nullptr ? static_cast<unsigned>(at - kx::codec::kBase64Alphabet) : 255u;
}

std::vector<uint8_t> Model(const uint8_t *text, size_t size) {
  std::vector<uint8_t> out;
  for (size_t g = 0; g + 4 <= size; g += 4) {
    const uint8_t *c = text + g;
    if (c[0] == '=' || c[1] == '=') continue;
    unsigned s0 = Sextet(c[0]), s1 = Sextet(c[1]), s2 = Sextet(c[2]), s3 = Sextet(c[3]);
    out.push_back(static_cast<uint8_t>((s0 << 2) | ((s1 >> 4) & 3)));
    if (c[2] == '=') continue;
    out.push_back(static_cast<uint8_t>((s1 << 4) | ((s2 >> 2) & 15)));
    if (c[3] == '=') continue;
    out.push_back(static_cast<uint8_t>((s2 << 6) | s3));
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size > (1u << 20)) return 0;
  auto length = static_cast<int32_t>(size);

  // Decode the input as text into a buffer of exactly the size it needs.
  std::vector<uint8_t> expected = Model(data, size);
  auto text = std::make_unique<char[]>(size);
  std::memcpy(text.get(), data, size);
  auto out = std::make_unique<uint8_t[]>(expected.size() + 1);
  SMBase64Decode(out.get(), text.get(), length);
  if (!expected.empty() && std::memcmp(out.get(), expected.data(), expected.size()) != 0) {
    std::abort();
  }
  if (out[expected.size()] != 0) std::abort();

  // Encode the input as bytes (followed by the zero byte the encoder may
  // read) and decode it back.
  auto bytes = std::make_unique<uint8_t[]>(size + 1);
  std::memcpy(bytes.get(), data, size);
  bytes[size] = 0;
  size_t encoded_size = 4 * ((size + 2) / 3);
  auto encoded = std::make_unique<char[]>(encoded_size + 1);
  SMBase64Encode(encoded.get(), bytes.get(), length, nullptr);
  if (std::strlen(encoded.get()) != encoded_size) std::abort();
  auto decoded = std::make_unique<uint8_t[]>(size + 1);
  SMBase64Decode(decoded.get(), encoded.get(), static_cast<int32_t>(encoded_size));
  if (size != 0 && std::memcmp(decoded.get(), data, size) != 0) std::abort();
  if (decoded[size] != 0) std::abort();
  return 0;
}
