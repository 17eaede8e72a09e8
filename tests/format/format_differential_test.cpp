// The formatter against the C library's snprintf on random conversions where
// the two must agree: integers with every flag, width, precision and length
// modifier; characters, strings and pointers; e, E, f, g and G on doubles of
// every magnitude, restricted to the forms whose rules match C's. Also checks
// every truncation size of the same cases against the full text.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "format/format.h"
#include "kxsupt/format.h"

namespace {

constexpr size_t kBufferSize = 4096;

// One formatting call, replayable on both engines. Ours goes through the
// export when `truncated` is null, else through the internal entry.
struct Case {
  std::string format;
  std::function<int32_t(char *, uint32_t, bool *)> ours;
  std::function<int(char *, size_t)> theirs;
};

// The internal entry with its truncation flag, over variable arguments.
int32_t FormatReportingTruncation(bool *truncated, char *dest, uint32_t size, const char *format,
                                  ...) {
  va_list args;
  va_start(args, format);
  const int32_t stored = kx::format::vsnprintf(dest, size, format, args, truncated);
  va_end(args);
  return stored;
}

template <typename... Args>
Case MakeCase(const std::string &format, Args... args) {
  return {format,
          [format, args...](char *dest, uint32_t size, bool *truncated) {
            if (truncated == nullptr) return SMsnprintf(dest, size, format.c_str(), args...);
            return FormatReportingTruncation(truncated, dest, size, format.c_str(), args...);
          },
          [format, args...](char *dest, size_t size) {
            return std::snprintf(dest, size, format.c_str(), args...);
          }};
}

// A case whose '*' arguments (0, 1 or 2 of them) come before the value.
template <typename T>
Case MakeStarCase(const std::string &format, const std::vector<int> &stars, T value) {
  if (stars.empty()) return MakeCase(format, value);
  if (stars.size() == 1) return MakeCase(format, stars[0], value);
  return MakeCase(format, stars[0], stars[1], value);
}

// The pieces of a format, joined in the order written: a braced list is
// evaluated left to right, so the pieces draw from the random stream in the
// same order with every compiler (the operands of a chain of + have no
// defined order). Appending also keeps clear of GCC 12's -Wrestrict false
// positive on "literal" + std::string temporaries at -O3.
std::string Join(std::initializer_list<std::string> pieces) {
  std::string text;
  for (const std::string &piece : pieces) text += piece;
  return text;
}

class Generator {
 public:
  explicit Generator(uint64_t seed) : rng_(seed) {}

  int Uniform(int low, int high) { return std::uniform_int_distribution<int>(low, high)(rng_); }
  bool Chance(int percent) { return Uniform(1, 100) <= percent; }

  // Up to three flag characters from `allowed`, repeats and any order allowed.
  std::string Flags(const std::string &allowed) {
    std::string flags;
    for (int i = Uniform(0, 3); i > 0; --i) flags += allowed[Uniform(0, allowed.size() - 1)];
    return flags;
  }

  // A width: none, digits, or '*' with a possibly negative argument.
  std::string Width(std::vector<int> *stars, int max) {
    const int roll = Uniform(1, 100);
    if (roll <= 45) return "";
    if (roll <= 85) return std::to_string(Uniform(1, max));
    stars->push_back(Uniform(-max, max));
    return "*";
  }

  // A precision: none, ".", ".N" or ".*" (a negative argument means none).
  // Stores the precision in effect, -1 for none.
  std::string Precision(std::vector<int> *stars, int max, int *effective) {
    const int roll = Uniform(1, 100);
    *effective = roll <= 40 ? -1 : 0;
    if (roll <= 45) return roll <= 40 ? "" : ".";
    if (roll <= 85) {
      *effective = Uniform(0, max);
      return Join({".", std::to_string(*effective)});
    }
    stars->push_back(Uniform(-3, max));
    *effective = std::max(stars->back(), -1);
    return ".*";
  }

  Case IntegerCase() {
    std::vector<int> stars;
    const char conversion = "diouxX"[Uniform(0, 5)];
    std::string format = Join({"<%", Flags("-+ #0"), Width(&stars, 30)});
    int precision = -1;
    format += Precision(&stars, 30, &precision);
    const std::string length = std::vector<std::string>{"", "h", "l", "ll"}[Uniform(0, 3)];
    format += length + conversion + ">";
    const int bits = Uniform(0, 64);
    int64_t value = bits == 0 ? 0 : static_cast<int64_t>(rng_() >> (64 - bits));
    if (Chance(50)) value = -value;
    // "%#.0o" of 0 prints nothing here and "0" in C: compared elsewhere.
    if (conversion == 'o' && precision == 0 && value == 0) value = 8;
    if (length.find('l') == std::string::npos) {
      return MakeStarCase(format, stars, static_cast<int>(value));
    }
    return MakeStarCase(format, stars, static_cast<long>(value));
  }

  // No '0' flag: it pads characters and strings with zeros here, not in C.
  Case CharacterCase() {
    std::vector<int> stars;
    const std::string format = Join({"%", Flags("-+ #"), Width(&stars, 20), "c|"});
    return MakeStarCase(format, stars, Uniform(0, 255));
  }

  Case StringCase() {
    std::vector<int> stars;
    int precision = -1;
    const std::string format =
        Join({"%", Flags("-+ #"), Width(&stars, 40), Precision(&stars, 40, &precision), "s|"});
    std::string text(Uniform(0, 50), ' ');
    for (char &c : text) c = static_cast<char>(Uniform(1, 255));
    strings_.push_back(text);
    return MakeStarCase(format, stars, strings_.back().c_str());
  }

  Case PointerCase() {
    std::vector<int> stars;
    int precision = -1;
    const std::string format =
        Join({"%", Flags("-0"), Width(&stars, 30), Precision(&stars, 20, &precision), "p"});
    // Never null: C prints it as "(nil)".
    return MakeStarCase(format, stars, reinterpret_cast<void *>((rng_() >> Uniform(0, 63)) | 1));
  }

  Case FloatCase() {
    std::vector<int> stars;
    const char conversion = "eEfgG"[Uniform(0, 4)];
    std::string flags = Flags("-+ 0");
    const std::string width = Width(&stars, 40);
    int precision = -1;
    const std::string precision_text = Precision(&stars, 25, &precision);
    double value = Double();
    bool alternate = Chance(50);
    if (conversion == 'e' || conversion == 'E') {
      // Without '#' the digits lose their trailing zeros; with precision 0
      // there is only one digit and no point either way.
      alternate = alternate || precision != 0;
    } else if (conversion == 'f') {
      // "%.0f" of a value that rounds to 0 keeps its point ("0."), and
      // "%#.0f" of 0 drops it ("0").
      if (precision == 0 && !alternate && std::fabs(value) < 1) value += value < 0 ? -1 : 1;
      if (precision == 0 && alternate && value == 0) value = 1;
    } else {
      // Exponent form starts above the precision, not at it; and "%#g" of 0
      // counts its zeros from the point. Moving one decade usually leaves the
      // boundary; rounding can bring it back, so fall back to a plain value.
      if (alternate && value == 0) value = 0.5;
      const int significant = precision < 0 ? 6 : std::max(precision, 1);
      for (int tries = 0; tries < 3 && ExponentOf(value, significant) == significant; ++tries) {
        value *= 10;
      }
      if (ExponentOf(value, significant) == significant) value = 1.5;
    }
    if (alternate) flags += '#';
    return MakeStarCase("[%" + flags + width + precision_text + conversion + "]", stars, value);
  }

 private:
  // A double from one of several families: raw bit patterns of every
  // magnitude, short decimals, exact binary ties, powers of ten and zero.
  // Never -0.0: it prints without a sign by design.
  double Double() {
    double value = 0;
    const int family = Uniform(1, 100);
    if (family <= 40) {
      do {
        const uint64_t bits = rng_() >> 1;
        std::memcpy(&value, &bits, sizeof value);
      } while (!std::isfinite(value));
    } else if (family <= 70) {
      value = Uniform(0, 999999) / std::pow(10.0, Uniform(0, 8)) * std::pow(10.0, Uniform(-20, 20));
    } else if (family <= 85) {
      value = std::ldexp(2.0 * Uniform(0, 4095) + 1, -Uniform(1, 12));  // x.5, x.25, ...
    } else if (family <= 97) {
      value = std::pow(10.0, Uniform(-30, 30)) * (Chance(50) ? 1.0 : 1.0 - 1e-12);
    }
    return value != 0 && Chance(50) ? -value : value;
  }

  // The decimal exponent of value rounded to `significant` digits.
  static int ExponentOf(double value, int significant) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*e", significant - 1, value);
    return std::atoi(std::strchr(text, 'e') + 1);
  }

  std::mt19937_64 rng_;
  std::vector<std::string> strings_;  // keep the text of string cases alive
};

using Maker = Case (Generator::*)();

// Each family of conversions with a buffer large enough for everything; stops
// a family after a handful of mismatches.
TEST(FormatAgreesWithC, on_random_conversions_of_every_family) {
  const struct {
    Maker make;
    int count;
  } families[] = {{&Generator::IntegerCase, 100000},
                  {&Generator::CharacterCase, 10000},
                  {&Generator::StringCase, 40000},
                  {&Generator::PointerCase, 10000},
                  {&Generator::FloatCase, 150000}};
  Generator generator(1);
  for (const auto &family : families) {
    int failures = 0;
    for (int i = 0; i < family.count && failures < 10; ++i) {
      const Case c = (generator.*family.make)();
      char ours[kBufferSize];
      char theirs[kBufferSize];
      const int32_t ours_length = c.ours(ours, sizeof ours, nullptr);
      const int theirs_length = c.theirs(theirs, sizeof theirs);
      ASSERT_TRUE(theirs_length >= 0 && theirs_length < static_cast<int>(kBufferSize)) << c.format;
      if (ours_length != theirs_length || std::memcmp(ours, theirs, theirs_length + 1u) != 0) {
        ++failures;
        ADD_FAILURE() << "format \"" << c.format << "\": ours \"" << std::string(ours, ours_length)
                      << "\", C \"" << theirs << "\"";
      }
    }
  }
}

// Every size from 0 to past the full length: the stored text is the longest
// prefix that fits, always terminated, the count is what was stored, nothing
// is written past the buffer, and the truncation flag (set beforehand) says
// whether bytes were dropped. A null destination counts the same.
TEST(FormatTruncation, every_size_stores_the_prefix_that_fits) {
  Generator generator(6);
  const Maker makers[] = {&Generator::IntegerCase, &Generator::StringCase, &Generator::FloatCase,
                          &Generator::CharacterCase};
  for (int i = 0; i < 1200; ++i) {
    const Case c = (generator.*makers[i % 4])();
    char full[kBufferSize];
    const int length = c.theirs(full, sizeof full);
    for (int size = 0; size <= length + 2; ++size) {
      std::vector<char> buffer(size + 1u, '\x7f');  // one canary byte
      bool truncated = true;
      const int32_t stored = c.ours(buffer.data(), static_cast<uint32_t>(size), &truncated);
      const int expected = size == 0 ? 0 : std::min(length, size - 1);
      ASSERT_EQ(stored, expected) << c.format << " size " << size;
      ASSERT_EQ(std::memcmp(buffer.data(), full, expected), 0) << c.format;
      ASSERT_EQ(buffer[expected], '\0') << c.format << " size " << size;
      ASSERT_TRUE(size == 0 || buffer[size] == '\x7f') << c.format << " size " << size;
      ASSERT_EQ(truncated, length > expected) << c.format << " size " << size;
      ASSERT_EQ(c.ours(nullptr, static_cast<uint32_t>(size), nullptr), expected) << c.format;
    }
  }
}

}  // namespace
