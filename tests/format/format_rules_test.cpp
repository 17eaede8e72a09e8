// The formatter's own rules: each documented difference from C, the count and
// truncation contract, %n, %S, and the module's lock (attach, detach, and
// serialised runs from several threads).
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "codec/format.h"
#include "kxsupt/format.h"
#include "os/mutex.h"

namespace {

// Formats through the exported entry. The format is a run-time value so that
// the quirky ones need not satisfy the compiler's printf checks.
std::string Format(const char *format, ...) {
  char buffer[4096];
  va_list args;
  va_start(args, format);
  const int32_t stored = SMvsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  EXPECT_GE(stored, 0);
  return std::string(buffer, static_cast<size_t>(stored));
}

struct Row {
  const char *format;
  double value;
  const char *expected;
};

TEST(FormatFloatingPoint, DifferencesFromC) {
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Row rows[] = {
      // The digits come without trailing zeros; only '#' restores them.
      {"%e", 1.0, "1e+00"},
      {"%.3e", 1.5, "1.5e+00"},
      {"%E", 12345.678, "1.234568E+04"},
      {"%e", 0.0, "0e+00"},
      {"%#e", 1.0, "1.000000e+00"},
      {"%#.0e", 3.0, "3.e+00"},
      {"%e", 1e-300, "1e-300"},
      // %f turns on the alternate form for every non-zero precision.
      {"%f", 1.0, "1.000000"},
      {"%5.1f", 3.14159, "  3.1"},
      {"%.0f", 0.3, "0."},
      {"%.0f", 0.5, "0."},
      {"%.0f", -0.25, "-0."},
      {"%#.0f", 0.0, "0"},
      {"%.0f", 0.0, "0"},
      {"%.3f", 0.0001, "0.000"},
      // Correctly rounded, exact ties to even.
      {"%.2f", 0.125, "0.12"},
      {"%.2f", 0.375, "0.38"},
      {"%.0f", 2.5, "2"},
      {"%.0f", 3.5, "4"},
      {"%.1e", 0.25, "2.5e-01"},
      {"%.0e", 2.5, "2e+00"},
      // %g uses exponent form only above the precision, not at it.
      {"%g", 1000000.0, "1000000"},
      {"%g", 100000.0, "100000"},
      {"%g", 1e7, "1e+07"},
      {"%.2g", 100.0, "100"},
      {"%G", 1234567.0, "1234570"},  // six digits, then zeros to the point
      {"%g", 0.0001, "0.0001"},
      {"%g", 0.00001, "1e-05"},
      {"%.0g", 7.0, "7"},
      {"%.0g", 70.0, "7e+01"},
      {"%#g", 0.0, "0.000000"},
      {"%#.0g", 0.0, "0"},
      {"%#g", 1.0, "1.00000"},
      // Infinities and NaNs all print "Inf"; zero padding still applies.
      {"%f", inf, "Inf"},
      {"%f", -inf, "-Inf"},
      {"%f", nan, "Inf"},
      {"%f", -nan, "Inf"},
      {"%e", inf, "Inf"},
      {"%G", -inf, "-Inf"},
      {"%08f", inf, "00000Inf"},
      {"%08f", -inf, "-0000Inf"},
      {"%-6f|", inf, "Inf   |"},
      {"%+f", inf, "+Inf"},
      {"% f", nan, " Inf"},
      // -0.0 is not below 0, so it has no sign.
      {"%f", -0.0, "0.000000"},
      {"%g", -0.0, "0"},
      // 'L' is accepted but the value is still a double.
      {"%Lf", 1.5, "1.500000"},
      {"%.3Le", 2.0, "2e+00"},
  };
  for (const Row &row : rows) {
    EXPECT_EQ(Format(row.format, row.value), row.expected) << row.format << " of " << row.value;
  }
}

TEST(FormatFloatingPoint, ExtremeMagnitudesAndPrecisions) {
  EXPECT_EQ(Format("%.0f", 1e20), "100000000000000000000");
  EXPECT_EQ(Format("%.1f", 1e20), "100000000000000000000.0");
  EXPECT_EQ(Format("%g", 5e-324), "4.94066e-324");
  EXPECT_EQ(Format("%.3e", 1.7976931348623157e308), "1.798e+308");
  EXPECT_EQ(Format("%#.2e", 9.999), "1.00e+01");
  EXPECT_EQ(Format("%.2f", 9.999), "10.00");
  // Precisions far beyond a double's digits: the digits are exact, then zeros.
  const std::string tiny = Format("%.1100f", 5e-324);
  ASSERT_EQ(tiny.size(), 1102u);
  EXPECT_EQ(tiny.substr(0, 8), "0.000000");
  EXPECT_EQ(tiny.substr(325, 10), "4940656458");
  EXPECT_EQ(tiny.back(), '0');
  // A precision too large to store is still counted.
  char buffer[16];
  int count = 0;
  EXPECT_EQ(SMsnprintf(buffer, sizeof buffer, "%.100000f%n", 1.0, &count), 15);
  EXPECT_EQ(std::string(buffer), "1.0000000000000");
  EXPECT_EQ(count, 100002);
  EXPECT_EQ(SMsnprintf(nullptr, 50000, "%#.100000e", 1.0), 49999);
  EXPECT_EQ(SMsnprintf(nullptr, 50000, "%.100000e", 1.0), 5);
}

TEST(FormatIntegers, DifferencesFromC) {
  EXPECT_EQ(Format("%#.0o", 0), "");
  EXPECT_EQ(Format("%#o", 8), "010");
  EXPECT_EQ(Format("%#o", 0), "0");
  EXPECT_EQ(Format("%#x", 0), "0");
  EXPECT_EQ(Format("%#X", 255), "0XFF");
  EXPECT_EQ(Format("%.0d", 0), "");
  // hh is h again: 16 bits, not 8.
  EXPECT_EQ(Format("%hhd", 300), "300");
  EXPECT_EQ(Format("%hd", 70000), "4464");
  EXPECT_EQ(Format("%hu", -1), "65535");
  EXPECT_EQ(Format("%hx", 0x12345), "2345");
  // D, O and U are ld, lo and lu; ll is l; both read one 64-bit long.
  EXPECT_EQ(Format("%D", -5000000000L), "-5000000000");
  EXPECT_EQ(Format("%O", 8L), "10");
  EXPECT_EQ(Format("%U", 4294967296L), "4294967296");
  EXPECT_EQ(Format("%lld|%d", 1L << 40, 7), "1099511627776|7");
  EXPECT_EQ(Format("%ld", std::numeric_limits<long>::min()), "-9223372036854775808");
  // 'L' does not widen an integer.
  EXPECT_EQ(Format("%Ld|%d", 5, 6), "5|6");
  // Unsigned conversions never take a sign.
  EXPECT_EQ(Format("%+u|% x", 5u, 10u), "5|a");
  // A null pointer is "0x0"; pointers always carry the prefix, full width.
  EXPECT_EQ(Format("%p", static_cast<void *>(nullptr)), "0x0");
  EXPECT_EQ(Format("%p", reinterpret_cast<void *>(0xfedcba9876543210)), "0xfedcba9876543210");
}

TEST(FormatText, DifferencesFromC) {
  EXPECT_EQ(Format("%05s", "ab"), "000ab");
  EXPECT_EQ(Format("%05c", 'x'), "0000x");
  EXPECT_EQ(Format("%-05s|", "ab"), "ab   |");
  EXPECT_EQ(Format("%+s", "x"), "x");
  EXPECT_EQ(Format("%s", static_cast<const char *>(nullptr)), "(null)");
  EXPECT_EQ(Format("%.3s", static_cast<const char *>(nullptr)), "(nu");
  EXPECT_EQ(Format("%.3s", "abcdef"), "abc");
  // A precision needs no terminator within it.
  const char unterminated[3] = {'a', 'b', 'c'};
  EXPECT_EQ(Format("%.3s", unterminated), "abc");
}

TEST(FormatText, UnknownConversionsPrintThemselves) {
  EXPECT_EQ(Format("%%", 0), "%");
  EXPECT_EQ(Format("%5%", 0), "    %");
  EXPECT_EQ(Format("%-3%|", 0), "%  |");
  EXPECT_EQ(Format("%05%", 0), "0000%");
  EXPECT_EQ(Format("%q", 0), "q");
  EXPECT_EQ(Format("%y%z%F%a%C%m", 0), "yzFaCm");
  // The unknown character consumes no argument.
  EXPECT_EQ(Format("%zd|%d", 4, 5), "zd|4");
  EXPECT_EQ(Format("%\x80|", 0), "\x80|");
  // "%" at the end ends the format; so does "%" with flags only.
  EXPECT_EQ(Format("abc%", 0), "abc");
  EXPECT_EQ(Format("abc%-08", 0), "abc");
}

TEST(FormatText, FlagsInAnyOrderAndStarArguments) {
  EXPECT_EQ(Format("%-*d|", 5, 42), "42   |");
  EXPECT_EQ(Format("%*d|", -5, 42), "42   |");
  EXPECT_EQ(Format("%.*d", -1, 42), "42");
  EXPECT_EQ(Format("%.*f", -3, 0.5), "0.500000");
  EXPECT_EQ(Format("%+ d|% +d", 1, 1), "+1|+1");
  EXPECT_EQ(Format("%5-d|", 1), "1    |");
  EXPECT_EQ(Format("%5.d|", 0), "     |");
  EXPECT_EQ(Format("%05.3d", 7), "  007");
  // A width given twice: the last one counts.
  EXPECT_EQ(Format("%3-6d|", 1), "1     |");
  // Huge widths are counted without being stored.
  EXPECT_EQ(SMsnprintf(nullptr, 0xFFFFFFFFu, "%*d", 1000000, 1), 1000000);
}

TEST(FormatCounts, EdgeCasesOfTheCountAndTerminator) {
  char buffer[8];
  std::memset(buffer, 'z', sizeof buffer);
  EXPECT_EQ(SMsnprintf(buffer, 4, "%s", "abcdef"), 3);
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(buffer[4], 'z');

  std::memset(buffer, 'z', sizeof buffer);
  EXPECT_EQ(SMsnprintf(buffer, 1, "x"), 0);
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(buffer[1], 'z');

  // Size 0 still terminates the first byte.
  std::memset(buffer, 'z', sizeof buffer);
  EXPECT_EQ(SMsnprintf(buffer, 0, "x"), 0);
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(buffer[1], 'z');

  EXPECT_EQ(SMsnprintf(nullptr, 100, "%d", 12345), 5);
  EXPECT_EQ(SMsnprintf(nullptr, 3, "%d", 12345), 2);
  EXPECT_EQ(SMsnprintf(nullptr, 0, "%d", 12345), 0);
  EXPECT_EQ(SMsnprintf(buffer, sizeof buffer, "%s", ""), 0);
  EXPECT_EQ(buffer[0], '\0');
  // A null format formats nothing.
  EXPECT_EQ(Format(nullptr, 0), "");
}

TEST(FormatCounts, PercentNCountsDroppedBytesToo) {
  char buffer[4];
  int count = -1;
  EXPECT_EQ(SMsnprintf(buffer, sizeof buffer, "abcdef%n", &count), 3);
  EXPECT_EQ(count, 6);
  EXPECT_EQ(SMsnprintf(nullptr, 0, "%5d%n|", 1, &count), 0);
  EXPECT_EQ(count, 5);

  // %hn stores 16 bits and nothing beyond them.
  short slots[2] = {-1, -1};
  const char *format = "%70000d%hn";
  EXPECT_EQ(SMsnprintf(nullptr, 1, format, 1, &slots[0]), 0);
  EXPECT_EQ(slots[0], static_cast<short>(70000));
  EXPECT_EQ(slots[1], -1);

  // A null target is skipped rather than written.
  const char *plain = "ab%ncd";
  EXPECT_EQ(SMsnprintf(buffer, sizeof buffer, plain, static_cast<int *>(nullptr)), 3);
}

TEST(FormatCounts, TruncationFlagForInternalCallers) {
  char buffer[8];
  bool truncated = true;
  EXPECT_EQ(
      kx::codec::FormatReportingTruncation(&truncated, buffer, sizeof buffer, "%s", "1234567"), 7);
  EXPECT_FALSE(truncated);  // cleared at the start, nothing dropped
  EXPECT_EQ(
      kx::codec::FormatReportingTruncation(&truncated, buffer, sizeof buffer, "%s", "12345678"), 7);
  EXPECT_TRUE(truncated);
  EXPECT_EQ(kx::codec::FormatReportingTruncation(&truncated, buffer, 0, "%s", ""), 0);
  EXPECT_FALSE(truncated);
  EXPECT_EQ(kx::codec::FormatReportingTruncation(&truncated, buffer, 0, "a"), 0);
  EXPECT_TRUE(truncated);
  EXPECT_EQ(kx::codec::FormatReportingTruncation(&truncated, nullptr, 3, "%d", 123), 2);
  EXPECT_TRUE(truncated);
}

// UCS-2 text is converted to UTF-8 and then treated exactly like %s.
TEST(FormatUcs2, ConvertsThenPrintsAsString) {
  const uint16_t hello[] = {'h', 0xE9, 'l', 0x4E16, 0};  // 1 + 2 + 1 + 3 bytes of UTF-8
  EXPECT_EQ(Format("[%S]", hello), "[h\xC3\xA9l\xE4\xB8\x96]");
  EXPECT_EQ(Format("[%10S]", hello), "[   h\xC3\xA9l\xE4\xB8\x96]");
  EXPECT_EQ(Format("[%-8S]", hello), "[h\xC3\xA9l\xE4\xB8\x96 ]");
  // The precision counts bytes of UTF-8 and may cut a character.
  EXPECT_EQ(Format("[%.2S]", hello), "[h\xC3]");
  const uint16_t empty[] = {0};
  EXPECT_EQ(Format("[%S]", empty), "[]");
  // A surrogate pair at the start of the string: the converter resolves each
  // of its two units to the pair's character.
  const uint16_t pair[] = {0xD83D, 0xDE00, 0};
  EXPECT_EQ(Format("%S", pair), "\xF0\x9F\x98\x80\xF0\x9F\x98\x80");
}

TEST(FormatUcs2, NullIsTheByteTextReadAsUnits) {
  // "(null)" read as 16-bit units in memory order: U+6E28 U+6C75 U+296C.
  EXPECT_EQ(Format("%S", static_cast<const uint16_t *>(nullptr)),
            "\xE6\xB8\xA8\xE6\xB1\xB5\xE2\xA5\xAC");
}

TEST(FormatUcs2, UnconvertibleTextEndsTheRun) {
  // A string that starts with a low surrogate cannot be converted: the output
  // so far is terminated and its count returned.
  const uint16_t broken[] = {0xDC00, 'x', 0};
  char buffer[32];
  int count = -1;
  const char *format = "ab%Scd%n";
  EXPECT_EQ(SMsnprintf(buffer, sizeof buffer, format, broken, &count), 2);
  EXPECT_STREQ(buffer, "ab");
  EXPECT_EQ(count, -1);
}

// The module's mutex: attach creates it once, detach destroys it (also when
// attach never ran), and runs keep working whether it exists or not.
TEST(FormatModule, AttachDetachAndFallbackLock) {
  kx::codec::FormatDetach();
  kx::codec::FormatDetach();  // safe on a module that is down
  EXPECT_EQ(Format("%d-%s", 1, "down"), "1-down");

  ASSERT_EQ(kx::codec::FormatAttach(), 1);
  EXPECT_EQ(kx::codec::FormatAttach(), 1);  // a second attach does nothing
  EXPECT_EQ(Format("%d-%s", 2, "up"), "2-up");

  kx::codec::FormatDetach();
  EXPECT_EQ(Format("%d-%s", 3, "down"), "3-down");
  ASSERT_EQ(kx::codec::FormatAttach(), 1);  // a later attach creates it anew
  EXPECT_EQ(Format("%d-%s", 4, "up"), "4-up");
  kx::codec::FormatDetach();
}

// Threads formatting at once each get their own text, with the module up and
// with it down.
TEST(FormatModule, ConcurrentRunsStayIndependent) {
  for (bool attached : {false, true}) {
    if (attached) {
      ASSERT_EQ(kx::codec::FormatAttach(), 1);
    }
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([t, &mismatches] {
        for (int i = 0; i < 2000; ++i) {
          char buffer[64];
          SMsnprintf(buffer, sizeof buffer, "%d:%05d:%.3f:%s", t, i, i / 8.0, "x");
          char expected[64];
          std::snprintf(expected, sizeof expected, "%d:%05d:%.3f:%s", t, i, i / 8.0, "x");
          if (std::strcmp(buffer, expected) != 0) mismatches.fetch_add(1);
        }
      });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(mismatches.load(), 0);
    kx::codec::FormatDetach();
  }
}

}  // namespace
