// The formatter against the C library's snprintf on random conversions where
// the two must agree: integers with every flag, width, precision and length
// modifier; characters, strings and pointers; e, E, f, g and G on doubles of
// every magnitude, restricted to the forms whose rules match C's. Also checks
// every truncation size of the same cases against the full text.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "codec/format.h"
#include "kxsupt/format.h"

namespace {

constexpr size_t kBufferSize = 4096;

// One formatting call, replayable on both engines.
struct Case {
  std::string format;
  // Ours through the export (truncated == null) or the internal entry.
  std::function<int32_t(char *, uint32_t, bool *)> ours;
  std::function<int(char *, size_t)> theirs;
};

template <typename... Args>
Case MakeCase(const std::string &format, Args... args) {
  Case c;
  c.format = format;
  c.ours = [format, args...](char *dest, uint32_t size, bool *truncated) {
    if (truncated == nullptr) return SMsnprintf(dest, size, format.c_str(), args...);
    return kx::codec::FormatReportingTruncation(truncated, dest, size, format.c_str(), args...);
  };
  c.theirs = [format, args...](char *dest, size_t size) {
    return std::snprintf(dest, size, format.c_str(), args...);
  };
  return c;
}

// A case whose '*' arguments (0, 1 or 2 of them) come before the value.
template <typename T>
Case MakeStarCase(const std::string &format, const std::vector<int> &stars, T value) {
  switch (stars.size()) {
    case 0:
      return MakeCase(format, value);
    case 1:
      return MakeCase(format, stars[0], value);
    default:
      return MakeCase(format, stars[0], stars[1], value);
  }
}

class Generator {
 public:
  explicit Generator(uint64_t seed) : rng_(seed) {}

  int Uniform(int low, int high) { return std::uniform_int_distribution<int>(low, high)(rng_); }
  bool Chance(int percent) { return Uniform(1, 100) <= percent; }
  template <size_t N>
  char Pick(const char (&choices)[N]) {
    return choices[Uniform(0, N - 2)];
  }

  // Up to three flag characters from `allowed`, repeats and any order allowed.
  std::string Flags(const char *allowed) {
    std::string flags;
    const int count = Uniform(0, 3);
    const int choices = static_cast<int>(std::strlen(allowed));
    for (int i = 0; i < count; ++i) flags += allowed[Uniform(0, choices - 1)];
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
  // Reports the precision in effect, -1 for none.
  std::string Precision(std::vector<int> *stars, int max, int *effective) {
    const int roll = Uniform(1, 100);
    if (roll <= 40) {
      *effective = -1;
      return "";
    }
    if (roll <= 45) {
      *effective = 0;
      return ".";
    }
    if (roll <= 85) {
      *effective = Uniform(0, max);
      return "." + std::to_string(*effective);
    }
    const int value = Uniform(-3, max);
    stars->push_back(value);
    *effective = value < 0 ? -1 : value;
    return ".*";
  }

  // An integer with a random number of significant bits and sign.
  int64_t Integer() {
    const int bits = Uniform(0, 64);
    uint64_t value = rng_();
    value = bits == 0 ? 0 : value >> (64 - bits);
    return Chance(50) ? static_cast<int64_t>(value) : -static_cast<int64_t>(value);
  }

  // A double from one of several families: raw bit patterns of every
  // magnitude, short decimals, exact binary ties, powers of ten and zero.
  double Double() {
    double value = 0;
    const int family = Uniform(1, 100);
    if (family <= 40) {
      do {
        uint64_t bits = rng_() & ~(uint64_t{1} << 63);
        std::memcpy(&value, &bits, sizeof value);
      } while (!std::isfinite(value));
    } else if (family <= 70) {
      value = Uniform(0, 999999) / std::pow(10.0, Uniform(0, 8)) * std::pow(10.0, Uniform(-20, 20));
    } else if (family <= 85) {
      value = std::ldexp(2.0 * Uniform(0, 4095) + 1, -Uniform(1, 12));  // x.5, x.25, ...
    } else if (family <= 97) {
      value = std::pow(10.0, Uniform(-30, 30)) * (Chance(50) ? 1.0 : 1.0 - 1e-12);
    }
    if (value != 0 && Chance(50)) value = -value;
    return value;  // never -0.0: it prints without a sign by design
  }

  std::string Bytes(int max_length) {
    std::string text(Uniform(0, max_length), ' ');
    for (char &c : text) c = static_cast<char>(Uniform(1, 255));
    return text;
  }

  Case IntegerCase() {
    std::vector<int> stars;
    const char conversion = Pick("diouxX");
    std::string flags = Flags("-+ #0");
    const std::string width = Width(&stars, 30);
    int precision = -1;
    const std::string precision_text = Precision(&stars, 30, &precision);
    const char *lengths[] = {"", "h", "l", "ll"};
    const std::string length = lengths[Uniform(0, 3)];
    int64_t value = Integer();
    // "%#.0o" of 0 prints nothing here and "0" in C: compared elsewhere.
    if (conversion == 'o' && precision == 0 && value == 0) value = 8;
    const std::string format = "<%" + flags + width + precision_text + length + conversion + ">";
    if (length.empty() || length == "h") {
      return MakeStarCase(format, stars, static_cast<int>(value));
    }
    return MakeStarCase(format, stars, static_cast<long>(value));
  }

  Case CharacterCase() {
    std::vector<int> stars;
    // No '0' flag: it pads characters and strings with zeros here, not in C.
    const std::string format = "%" + Flags("-+ #") + Width(&stars, 20) + "c|";
    return MakeStarCase(format, stars, Uniform(0, 255));
  }

  Case StringCase() {
    std::vector<int> stars;
    int precision = -1;
    std::string format = "%" + Flags("-+ #") + Width(&stars, 40);
    format += Precision(&stars, 40, &precision) + "s|";
    strings_.push_back(Bytes(50));
    return MakeStarCase(format, stars, strings_.back().c_str());
  }

  Case PointerCase() {
    std::vector<int> stars;
    int precision = -1;
    std::string format = "%" + Flags("-0") + Width(&stars, 30);
    format += Precision(&stars, 20, &precision) + "p";
    uint64_t value = rng_() >> Uniform(0, 63);
    if (value == 0) value = 1;  // C prints a null pointer as "(nil)"
    return MakeStarCase(format, stars, reinterpret_cast<void *>(value));
  }

  Case FloatCase() {
    std::vector<int> stars;
    const char conversion = Pick("eEfgG");
    std::string flags = Flags("-+ 0");
    const std::string width = Width(&stars, 40);
    int precision = -1;
    const std::string precision_text = Precision(&stars, 25, &precision);
    double value = Double();
    bool alternate = Chance(50);
    switch (conversion) {
      case 'e':
      case 'E':
        // Without '#' the digits lose their trailing zeros; with precision 0
        // there is only one digit and no point either way.
        if (precision != 0) alternate = true;
        break;
      case 'f':
        // "%.0f" of a value that rounds to 0 keeps its point ("0."), and
        // "%#.0f" of 0 drops it ("0").
        if (precision == 0 && !alternate && std::fabs(value) < 1) value += value < 0 ? -1 : 1;
        if (precision == 0 && alternate && value == 0) value = 1;
        break;
      default: {
        // Exponent form starts above the precision, not at it; and "%#g" of 0
        // counts its zeros from the point.
        if (alternate && value == 0) value = 0.5;
        const int significant = precision < 0 ? 6 : (precision == 0 ? 1 : precision);
        // Moving one decade usually leaves the boundary; rounding can bring
        // the value back onto it, so fall back to a plain value then.
        for (int tries = 0; tries < 3 && ExponentOf(value, significant) == significant; ++tries) {
          value *= 10;
        }
        if (ExponentOf(value, significant) == significant) value = 1.5;
        break;
      }
    }
    if (alternate) flags += '#';
    const std::string format = "[%" + flags + width + precision_text + conversion + "]";
    return MakeStarCase(format, stars, value);
  }

 private:
  // The decimal exponent of value rounded to `significant` digits.
  static int ExponentOf(double value, int significant) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*e", significant - 1, value);
    return std::atoi(std::strchr(text, 'e') + 1);
  }

  std::mt19937_64 rng_;
  std::vector<std::string> strings_;  // keep the text of string cases alive
};

// Runs `count` cases from `make` through both engines with a buffer large
// enough for everything; stops after a handful of mismatches.
void ExpectAgreement(Generator &generator, Case (Generator::*make)(), int count) {
  int failures = 0;
  for (int i = 0; i < count && failures < 10; ++i) {
    const Case c = (generator.*make)();
    char ours[kBufferSize];
    char theirs[kBufferSize];
    const int32_t ours_length = c.ours(ours, sizeof ours, nullptr);
    const int theirs_length = c.theirs(theirs, sizeof theirs);
    ASSERT_GE(theirs_length, 0) << c.format;
    ASSERT_LT(theirs_length, static_cast<int>(kBufferSize)) << c.format;
    if (ours_length != theirs_length ||
        std::memcmp(ours, theirs, static_cast<size_t>(theirs_length) + 1) != 0) {
      ++failures;
      ADD_FAILURE() << "format \"" << c.format << "\": ours \"" << std::string(ours, ours_length)
                    << "\", C \"" << theirs << "\"";
    }
  }
}

TEST(FormatAgreesWithC, IntegersWithEveryFlagWidthPrecisionAndLength) {
  Generator generator(1);
  ExpectAgreement(generator, &Generator::IntegerCase, 100000);
}

TEST(FormatAgreesWithC, Characters) {
  Generator generator(2);
  ExpectAgreement(generator, &Generator::CharacterCase, 10000);
}

TEST(FormatAgreesWithC, StringsWithWidthAndPrecision) {
  Generator generator(3);
  ExpectAgreement(generator, &Generator::StringCase, 40000);
}

TEST(FormatAgreesWithC, Pointers) {
  Generator generator(4);
  ExpectAgreement(generator, &Generator::PointerCase, 10000);
}

TEST(FormatAgreesWithC, FloatingPointWhereTheRulesMatch) {
  Generator generator(5);
  ExpectAgreement(generator, &Generator::FloatCase, 150000);
}

// Every size from 0 to past the full length: the stored text is the longest
// prefix that fits, always terminated, the count is what was stored, nothing
// is written past the buffer, and the truncation flag says whether bytes were
// dropped. A null destination counts the same.
TEST(FormatTruncation, EverySizeStoresThePrefixThatFits) {
  Generator generator(6);
  Case (Generator::*makers[])() = {&Generator::IntegerCase, &Generator::StringCase,
                                   &Generator::FloatCase, &Generator::CharacterCase};
  for (int i = 0; i < 1200; ++i) {
    const Case c = (generator.*makers[i % 4])();
    char full[kBufferSize];
    const int length = c.theirs(full, sizeof full);
    ASSERT_GE(length, 0);
    for (int size = 0; size <= length + 2; ++size) {
      std::vector<char> buffer(static_cast<size_t>(size) + 1, '\x7f');  // one canary byte
      bool truncated = false;
      const int32_t stored = c.ours(buffer.data(), static_cast<uint32_t>(size), &truncated);
      const int expected = size == 0 ? 0 : std::min(length, size - 1);
      ASSERT_EQ(stored, expected) << c.format << " size " << size;
      ASSERT_EQ(std::memcmp(buffer.data(), full, static_cast<size_t>(expected)), 0) << c.format;
      ASSERT_EQ(buffer[static_cast<size_t>(expected)], '\0') << c.format << " size " << size;
      if (size > 0) {
        ASSERT_EQ(buffer[static_cast<size_t>(size)], '\x7f') << c.format;
      }
      ASSERT_EQ(truncated, length > expected) << c.format << " size " << size;
      ASSERT_EQ(c.ours(nullptr, static_cast<uint32_t>(size), nullptr), expected) << c.format;
    }
  }
}

}  // namespace
