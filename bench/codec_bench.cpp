// Codec throughput on 1 MiB buffers against established implementations:
// CRC-32 against zlib (and ISA-L when present), MD5 against OpenSSL, Base64
// against OpenSSL's block encoder and decoder.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/md5.h>
#include <zlib.h>

#include <random>
#include <string>
#include <vector>

#if defined(KXSUPT_HAVE_ISAL)
#include <isa-l.h>
#endif

#include "codec/base64.h"
#include "codec/crc32.h"
#include "kxsupt/codec.h"

namespace {

constexpr size_t kMiB = 1 << 20;

const std::vector<uint8_t> &Input() {
  static const std::vector<uint8_t> data = [] {
    std::vector<uint8_t> bytes(kMiB + 1);  // plus the zero byte after the input
    std::mt19937_64 rng(42);
    for (auto &b : bytes) b = static_cast<uint8_t>(rng());
    bytes[kMiB] = 0;
    return bytes;
  }();
  return data;
}

const std::string &EncodedInput() {
  static const std::string text = [] {
    std::string out(4 * ((kMiB + 2) / 3) + 1, '\0');
    SMBase64Encode(out.data(), Input().data(), static_cast<int32_t>(kMiB), nullptr);
    out.pop_back();
    return out;
  }();
  return text;
}

void Crc32Ours(benchmark::State &state) {
  const auto &in = Input();
  for (auto _ : state) benchmark::DoNotOptimize(SMCRC32Compute_vn(in.data(), kMiB));
  state.SetBytesProcessed(int64_t(state.iterations()) * kMiB);
}
BENCHMARK(Crc32Ours)->Name("crc32 1 MiB/ours");

void Crc32Zlib(benchmark::State &state) {
  const auto &in = Input();
  for (auto _ : state) benchmark::DoNotOptimize(crc32(0, in.data(), kMiB));
  state.SetBytesProcessed(int64_t(state.iterations()) * kMiB);
}
BENCHMARK(Crc32Zlib)->Name("crc32 1 MiB/anchor");

void Crc32PortableOurs(benchmark::State &state) {
  const auto &in = Input();
  for (auto _ : state) {
    benchmark::DoNotOptimize(~kx::codec::Crc32RawPortable(~0u, in.data(), kMiB));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kMiB);
}
BENCHMARK(Crc32PortableOurs)->Name("crc32 portable 1 MiB/ours");
BENCHMARK(Crc32Zlib)->Name("crc32 portable 1 MiB/anchor");

#if defined(KXSUPT_HAVE_ISAL)
BENCHMARK(Crc32Ours)->Name("crc32 vs isa-l 1 MiB/ours");

void Crc32Isal(benchmark::State &state) {
  const auto &in = Input();
  for (auto _ : state) benchmark::DoNotOptimize(crc32_gzip_refl(0, in.data(), kMiB));
  state.SetBytesProcessed(int64_t(state.iterations()) * kMiB);
}
BENCHMARK(Crc32Isal)->Name("crc32 vs isa-l 1 MiB/anchor");
#endif

void Md5Ours(benchmark::State &state) {
  const auto &in = Input();
  SMRFC1321Context context;
  for (auto _ : state) {
    SMRFC1321Load(&context);
    SMRFC1321AddMsg(&context, in.data(), kMiB);
    SMRFC1321ComputeMsgDigest(&context);
    benchmark::DoNotOptimize(context.digest);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kMiB);
}
BENCHMARK(Md5Ours)->Name("md5 1 MiB/ours");

void Md5OpenSsl(benchmark::State &state) {
  const auto &in = Input();
  unsigned char digest[16];
  for (auto _ : state) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    MD5(in.data(), kMiB, digest);
#pragma GCC diagnostic pop
    benchmark::DoNotOptimize(digest);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kMiB);
}
BENCHMARK(Md5OpenSsl)->Name("md5 1 MiB/anchor");

void Base64EncodeOurs(benchmark::State &state) {
  const auto &in = Input();
  std::string out(4 * ((kMiB + 2) / 3) + 1, '\0');
  for (auto _ : state) {
    SMBase64Encode(out.data(), in.data(), static_cast<int32_t>(kMiB), nullptr);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kMiB);
}
BENCHMARK(Base64EncodeOurs)->Name("base64 encode 1 MiB/ours");

void Base64EncodePortableOurs(benchmark::State &state) {
  const auto &in = Input();
  std::string out(4 * ((kMiB + 2) / 3) + 1, '\0');
  for (auto _ : state) {
    kx::codec::Base64EncodeWith(kx::codec::Base64Engine::kPortable, out.data(), in.data(),
                                static_cast<int32_t>(kMiB), nullptr);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kMiB);
}
BENCHMARK(Base64EncodePortableOurs)->Name("base64 encode portable 1 MiB/ours");

void Base64EncodeOpenSsl(benchmark::State &state) {
  const auto &in = Input();
  std::string out(4 * ((kMiB + 2) / 3) + 1, '\0');
  for (auto _ : state) {
    EVP_EncodeBlock(reinterpret_cast<unsigned char *>(out.data()), in.data(), int(kMiB));
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kMiB);
}
BENCHMARK(Base64EncodeOpenSsl)->Name("base64 encode 1 MiB/anchor");
BENCHMARK(Base64EncodeOpenSsl)->Name("base64 encode portable 1 MiB/anchor");

void Base64DecodeOurs(benchmark::State &state) {
  const std::string &text = EncodedInput();
  std::vector<uint8_t> out(kMiB + 4);
  for (auto _ : state) {
    SMBase64Decode(out.data(), text.data(), static_cast<int32_t>(text.size()));
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kMiB);
}
BENCHMARK(Base64DecodeOurs)->Name("base64 decode 1 MiB/ours");

void Base64DecodePortableOurs(benchmark::State &state) {
  const std::string &text = EncodedInput();
  std::vector<uint8_t> out(kMiB + 4);
  for (auto _ : state) {
    kx::codec::Base64DecodeWith(kx::codec::Base64Engine::kPortable, out.data(), text.data(),
                                static_cast<int32_t>(text.size()));
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kMiB);
}
BENCHMARK(Base64DecodePortableOurs)->Name("base64 decode portable 1 MiB/ours");

void Base64DecodeOpenSsl(benchmark::State &state) {
  const std::string &text = EncodedInput();
  std::vector<uint8_t> out(kMiB + 4);
  for (auto _ : state) {
    EVP_DecodeBlock(out.data(), reinterpret_cast<const unsigned char *>(text.data()),
                    int(text.size()));
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kMiB);
}
BENCHMARK(Base64DecodeOpenSsl)->Name("base64 decode 1 MiB/anchor");
BENCHMARK(Base64DecodeOpenSsl)->Name("base64 decode portable 1 MiB/anchor");

}  // namespace
