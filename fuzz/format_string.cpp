// Fuzz target for the formatter's format-string interpreter. The input picks a
// mode, a buffer size and a format. The format is filtered so that only
// conversions whose arguments the target supplies reach the engine: no
// arguments at all, integers (and '*') from a fixed list of longs, or
// floating point from a fixed list of doubles. Each run is checked against the
// count and termination contract and against a run into a null destination.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "format/format.h"

namespace {

enum class Mode { kNoArguments, kIntegers, kFloatingPoint };

constexpr int kMaxIntegerArguments = 24;
constexpr int kMaxFloatArguments = 8;

bool IsModifier(char c) {
  return std::strchr(" #*-+.0123456789hlL", c) != nullptr && c != '\0';
}
bool IsIntegerConversion(char c) {
  return c != '\0' && std::strchr("cdiouxXpDOU", c) != nullptr;
}
bool IsOtherArgumentConversion(char c) {
  return c != '\0' && std::strchr("eEfgGsSn", c) != nullptr;
}

// Rewrites `format` so that, in the given mode, every argument it consumes is
// one the target passes. Returns false when the format would need too many.
bool Filter(std::string &format, Mode mode) {
  int integers = 0;
  int floats = 0;
  for (size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') continue;
    size_t j = i + 1;
    for (; j < format.size() && IsModifier(format[j]); ++j) {
      if (format[j] != '*') continue;
      if (mode == Mode::kIntegers) {
        ++integers;
      } else {
        format[j] = '1';
      }
    }
    if (j >= format.size()) break;
    char &conversion = format[j];
    const bool wants_integer = IsIntegerConversion(conversion);
    const bool wants_other = IsOtherArgumentConversion(conversion);
    switch (mode) {
      case Mode::kNoArguments:
        if (wants_integer || wants_other) conversion = '%';
        break;
      case Mode::kIntegers:
        if (wants_other) conversion = 'x';
        if (wants_integer || wants_other) ++integers;
        break;
      case Mode::kFloatingPoint:
        if (wants_integer || (wants_other && std::strchr("eEfgG", conversion) == nullptr)) {
          conversion = "eEfgG"[static_cast<unsigned char>(conversion) % 5];
        }
        if (wants_integer || wants_other) ++floats;
        break;
    }
    i = j;
  }
  return integers <= kMaxIntegerArguments && floats <= kMaxFloatArguments;
}

int32_t Run(Mode mode, char *dest, uint32_t size, const char *format) {
  static const double kInf = std::numeric_limits<double>::infinity();
  static const double kNan = std::numeric_limits<double>::quiet_NaN();
  switch (mode) {
    case Mode::kNoArguments:
    case Mode::kIntegers:
      return kx::format::snprintf(dest, size, format, 0L, -1L, 7L, 1L << 40, -(1L << 62), 255L,
                                  65536L, -70000L, 12345L, 0L, 9L, 10L, 99L, -1L, 1L, 2L,
                                  0x7FFFFFFFL, -0x80000000L, 4294967295L, 3L, 42L, 100L, 8L, 16L);
    case Mode::kFloatingPoint:
      return kx::format::snprintf(dest, size, format, 1.5, -0.0, 5e-324, 1.7976931348623157e308,
                                  kInf, -kNan, 0.125, -123456.789);
  }
  return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  const Mode mode = static_cast<Mode>(data[0] % 3);
  // Buffer sizes 0 to 255, or a large one now and then.
  const uint32_t buffer_size = data[1] == 255 ? 4096 : data[1];
  std::string format(reinterpret_cast<const char *>(data + 2), size - 2);
  format.resize(std::strlen(format.c_str()));  // the engine stops at the first NUL
  if (!Filter(format, mode)) return 0;

  std::vector<char> buffer(buffer_size + 1, '\x55');
  const int32_t stored = Run(mode, buffer.data(), buffer_size, format.c_str());
  const int64_t room = buffer_size == 0 ? 0 : int64_t{buffer_size} - 1;
  if (stored < 0 || stored > room) std::abort();
  if (buffer[static_cast<size_t>(stored)] != '\0') std::abort();
  if (buffer_size > 0 && buffer[buffer_size] != '\x55') std::abort();
  if (Run(mode, nullptr, buffer_size, format.c_str()) != stored) std::abort();
  return 0;
}
