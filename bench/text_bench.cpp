// Text benchmarks: the two UCS-2/UTF-8 conversions against glibc's iconv on
// 1 MiB of ASCII and of mixed BMP text, and appending a million small pieces
// to a self-sizing UTF-8 string against std::string::append.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "kxsupt/text.h"

namespace {

constexpr size_t kTextBytes = 1 << 20;

// Words of 2 to 8 characters from one script each, separated by spaces: the
// run structure of real text, so that neither side is judged on noise.
std::vector<uint16_t> MakeUnits(bool mixed, size_t max_units) {
  struct Script {
    uint16_t first;
    uint16_t last;
    int weight;
  };
  static constexpr Script kAscii[] = {{'a', 'z', 1}};
  static constexpr Script kMixed[] = {
      {'a', 'z', 30},        // ASCII
      {0x00C0, 0x017F, 15},  // Latin-1 and Latin Extended-A
      {0x03B1, 0x03C9, 10},  // Greek
      {0x0430, 0x044F, 15},  // Cyrillic
      {0x4E00, 0x9FFF, 20},  // CJK ideographs
      {0x3041, 0x3096, 10},  // Hiragana
  };
  const Script *scripts = mixed ? kMixed : kAscii;
  const size_t count = mixed ? std::size(kMixed) : std::size(kAscii);
  std::vector<int> weights;
  for (size_t i = 0; i < count; ++i) weights.push_back(scripts[i].weight);
  std::mt19937 random(20240229);
  std::discrete_distribution<size_t> pick_script(weights.begin(), weights.end());
  std::uniform_int_distribution<int> pick_length(2, 8);
  std::vector<uint16_t> units;
  while (units.size() + 9 < max_units) {
    const Script &script = scripts[pick_script(random)];
    std::uniform_int_distribution<int> pick_unit(script.first, script.last);
    for (int i = pick_length(random); i > 0; --i) units.push_back(pick_unit(random));
    units.push_back(random() % 16 == 0 ? '\n' : ' ');
  }
  units.push_back(0);
  return units;
}

// 1 MiB of UCS-2 input (terminator included).
const std::vector<uint16_t> &Ucs2Text(bool mixed) {
  static const std::vector<uint16_t> ascii = MakeUnits(false, kTextBytes / 2);
  static const std::vector<uint16_t> bmp = MakeUnits(true, kTextBytes / 2);
  return mixed ? bmp : ascii;
}

// About 1 MiB of UTF-8 input: UCS-2 text converted and cut at a word end.
const std::string &Utf8Text(bool mixed) {
  auto make = [](bool mixed_text) {
    std::vector<uint16_t> units = MakeUnits(mixed_text, kTextBytes);
    uint32_t size = 0;
    SMUCS2StrToUTF8Str(nullptr, &size, units.data());
    std::string text(size, '\0');
    SMUCS2StrToUTF8Str(text.data(), &size, units.data());
    text.resize(text.rfind(' ', kTextBytes - 1));
    return text;
  };
  static const std::string ascii = make(false);
  static const std::string bmp = make(true);
  return mixed ? bmp : ascii;
}

void Ucs2ToUtf8Ours(benchmark::State &state, bool mixed) {
  const std::vector<uint16_t> &in = Ucs2Text(mixed);
  std::string out(in.size() * 3, '\0');
  for (auto _ : state) {
    uint32_t size = static_cast<uint32_t>(out.size());
    if (SMUCS2StrToUTF8Str(out.data(), &size, in.data()) != SM_STATUS_SUCCESS) {
      state.SkipWithError("conversion failed");
    }
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size() * 2));
}

void Ucs2ToUtf8Anchor(benchmark::State &state, bool mixed) {
  const std::vector<uint16_t> &in = Ucs2Text(mixed);
  std::string out(in.size() * 3, '\0');
  iconv_t cd = iconv_open("UTF-8", "UCS-2LE");
  for (auto _ : state) {
    char *src = reinterpret_cast<char *>(const_cast<uint16_t *>(in.data()));
    size_t src_left = in.size() * 2;
    char *dst = out.data();
    size_t dst_left = out.size();
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    if (iconv(cd, &src, &src_left, &dst, &dst_left) == size_t(-1)) {
      state.SkipWithError("iconv failed");
    }
    benchmark::DoNotOptimize(out.data());
  }
  iconv_close(cd);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size() * 2));
}

void Utf8ToUcs2Ours(benchmark::State &state, bool mixed) {
  const std::string &in = Utf8Text(mixed);
  std::vector<uint16_t> out(in.size() + 1);
  for (auto _ : state) {
    uint32_t size = static_cast<uint32_t>(out.size() * 2);
    if (SMUTF8StrToUCS2Str(out.data(), &size, in.c_str()) != SM_STATUS_SUCCESS) {
      state.SkipWithError("conversion failed");
    }
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size() + 1));
}

void Utf8ToUcs2Anchor(benchmark::State &state, bool mixed) {
  const std::string &in = Utf8Text(mixed);
  std::vector<uint16_t> out(in.size() + 1);
  iconv_t cd = iconv_open("UCS-2LE", "UTF-8");
  for (auto _ : state) {
    char *src = const_cast<char *>(in.c_str());
    size_t src_left = in.size() + 1;
    char *dst = reinterpret_cast<char *>(out.data());
    size_t dst_left = out.size() * 2;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    if (iconv(cd, &src, &src_left, &dst, &dst_left) == size_t(-1)) {
      state.SkipWithError("iconv failed");
    }
    benchmark::DoNotOptimize(out.data());
  }
  iconv_close(cd);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size() + 1));
}

BENCHMARK_CAPTURE(Ucs2ToUtf8Ours, ascii, false)->Name("UCS2 to UTF8 1MiB ascii/ours");
BENCHMARK_CAPTURE(Ucs2ToUtf8Anchor, ascii, false)->Name("UCS2 to UTF8 1MiB ascii/anchor");
BENCHMARK_CAPTURE(Ucs2ToUtf8Ours, bmp, true)->Name("UCS2 to UTF8 1MiB mixed BMP/ours");
BENCHMARK_CAPTURE(Ucs2ToUtf8Anchor, bmp, true)->Name("UCS2 to UTF8 1MiB mixed BMP/anchor");
BENCHMARK_CAPTURE(Utf8ToUcs2Ours, ascii, false)->Name("UTF8 to UCS2 1MiB ascii/ours");
BENCHMARK_CAPTURE(Utf8ToUcs2Anchor, ascii, false)->Name("UTF8 to UCS2 1MiB ascii/anchor");
BENCHMARK_CAPTURE(Utf8ToUcs2Ours, bmp, true)->Name("UTF8 to UCS2 1MiB mixed BMP/ours");
BENCHMARK_CAPTURE(Utf8ToUcs2Anchor, bmp, true)->Name("UTF8 to UCS2 1MiB mixed BMP/anchor");

// A million pieces of 3 to 12 bytes, appended whole.
constexpr int kPieces = 1 << 20;
const char *const kPieceTexts[] = {"abc",     "name=",    "value",       "<node>",
                                   "</node>", "0x1f2e",   "hello world", "; ",
                                   "\r\n",    "quoted\"", "1234567890",  "z"};

void AppendPiecesOurs(benchmark::State &state) {
  for (auto _ : state) {
    SMSSStr text;
    SMSSUTF8StrAlloc(&text, 256);
    for (int i = 0; i < kPieces; ++i) {
      SMSSUTF8StrCatUTF8Str(&text, kPieceTexts[i % std::size(kPieceTexts)]);
    }
    benchmark::DoNotOptimize(text.pStr);
    SMSSUTF8StrFree(&text);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kPieces);
}
BENCHMARK(AppendPiecesOurs)->Name("append 1M small pieces/ours")->Unit(benchmark::kMillisecond);

void AppendPiecesAnchor(benchmark::State &state) {
  for (auto _ : state) {
    std::string text;
    for (int i = 0; i < kPieces; ++i) text.append(kPieceTexts[i % std::size(kPieceTexts)]);
    benchmark::DoNotOptimize(text.data());
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kPieces);
}
BENCHMARK(AppendPiecesAnchor)->Name("append 1M small pieces/anchor")->Unit(benchmark::kMillisecond);

}  // namespace
