// The formatter's own rules: each documented difference from C as a table,
// %n, the conversion of %S, and the module's lock (attach, detach, and
// serialised runs from several threads with and without it).
#include <gtest/gtest.h>

#include <atomic>
#include <cstdarg>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "format/format.h"
#include "kxsupt/format.h"

namespace {

// One run through the exported entry, remembered with its format. The format
// is a run-time value so that the quirky ones need not pass printf checks.
struct Run {
  std::string format;
  std::string text;
};

Run F(const char *format, ...) {
  char buffer[4096];
  va_list args;
  va_start(args, format);
  const int32_t stored = SMvsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  EXPECT_GE(stored, 0);
  return {format != nullptr ? format : "(null format)", std::string(buffer, stored)};
}

void ExpectRows(const std::vector<std::pair<Run, std::string>> &rows) {
  for (const auto &[run, expected] : rows) EXPECT_EQ(run.text, expected) << run.format;
}

TEST(FormatFloatingPoint, differs_from_c_where_the_library_rules_say) {
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  char c_text[1200];
  std::snprintf(c_text, sizeof c_text, "%.1100f", 5e-324);
  ExpectRows({
      // The digits come without trailing zeros, and the precision adds no
      // zeros of its own; only '#' restores them. 'L' still reads a double.
      {F("%e|%.3e|%e", 1.0, 1.5, 0.0), "1e+00|1.5e+00|0e+00"},
      {F("%E|%#.0e|%.3Le", 12345.678, 3.0, 2.0), "1.234568E+04|3.e+00|2e+00"},
      // %f turns on the alternate form for every non-zero precision; -0.0 is
      // not below 0, so it has no sign.
      {F("%Lf", 1.5), "1.500000"},
      {F("%.0f|%.0f|%#.0f", 0.3, -0.25, 0.0), "0.|-0.|0"},
      {F("%f", -0.0), "0.000000"},
      {F("%.1100f", 5e-324), c_text},
      // Correctly rounded, exact ties to even.
      {F("%.2f|%.0f|%.0f|%.0e", 0.125, 2.5, 3.5, 2.5), "0.12|2|4|2e+00"},
      // %g uses exponent form only above the precision, not at it.
      {F("%g|%g|%.2g|%G", 1e6, 1e7, 100.0, 1234567.0), "1000000|1e+07|100|1234570"},
      {F("%.0g|%g|%#g|%#.0g", 70.0, 1e-5, 0.0, 0.0), "7e+01|1e-05|0.000000|0"},
      // Infinities and NaNs all print "Inf"; signs and zero padding apply.
      {F("%f|%f|%G|%08f", nan, -nan, -inf, -inf), "Inf|Inf|-Inf|-0000Inf"},
      {F("%-6f|%+e|% f", inf, inf, nan), "Inf   |+Inf| Inf"},
  });
  // Precisions too large to store are still counted, zeros stripped or not.
  EXPECT_EQ(SMsnprintf(nullptr, 50000, "%#.100000e", 1.0), 49999);
  EXPECT_EQ(SMsnprintf(nullptr, 50000, "%.100000e", 1.0), 5);
}

TEST(FormatIntegersAndText, differs_from_c_where_the_library_rules_say) {
  const char unterminated[3] = {'a', 'b', 'c'};
  ExpectRows({
      {F("%#.0o", 0), ""},
      {F("%p", static_cast<void *>(nullptr)), "0x0"},
      // hh is h again (16 bits); D, O and U are ld, lo and lu; ll is l; both
      // read one 64-bit long; 'L' does not widen an integer.
      {F("%hhd|%hd|%hu", 300, 70000, -1), "300|4464|65535"},
      {F("%D|%O|%U", -5000000000L, 8L, 4294967296L), "-5000000000|10|4294967296"},
      {F("%lld|%d|%Ld|%d", 1L << 40, 7, 5, 6), "1099511627776|7|5|6"},
      // Zero padding reaches characters and strings; a precision needs no
      // terminator within it; a null string is "(null)".
      {F("%05s|%05c|%-05s|", "ab", 'x', "ab"), "000ab|0000x|ab   |"},
      {F("%.3s", unterminated), "abc"},
      {F("%.3s|%s", static_cast<const char *>(nullptr), static_cast<const char *>(nullptr)),
       "(nu|(null)"},
      // Unknown conversions print themselves as a field and consume nothing;
      // a format ending inside a conversion ends there.
      {F("%5%|%05%", 0), "    %|0000%"},
      {F("%zd|%d", 4, 5), "zd|4"},
      {F("%\x80|", 0), "\x80|"},
      {F("abc%-08", 0), "abc"},
      {F(nullptr, 0), ""},
  });
}

// "0" asks for zero padding only before any width digit. After one it is a
// width digit itself: inside the width's own digits, as C reads "%50d"; and
// with flags or modifiers between, where it begins a new width as any other
// digit does there.
TEST(FormatIntegersAndText, zero_after_a_width_digit_is_a_width_digit) {
  for (const char *plain :
       {"%50d|", "%050d|", "%0050d|", "%-050d|", "%500d|", "%05.3d|", "% 05d|"}) {
    char c_text[600];
    std::snprintf(c_text, sizeof c_text, plain, 42);
    EXPECT_EQ(F(plain, 42).text, c_text) << plain;
  }
  ExpectRows({
      {F("%5h0d|%5 0d|%5#0x", 42, 42, 42), "42| 42|0x2a"},
      {F("%5h7d|%5h07d|%5-0d|", 42, 42, 42), "     42|     42|42|"},
      {F("%5h05d|%05h0d|%5.3 0d", 42, 42, 42), "   42|42| 042"},
      {F("%0*d|%*0d|%3 04d", 5, 42, 5, 42, 42), "00042|00042|  42"},
  });
}

TEST(FormatIntegersAndText, percent_n_counts_dropped_bytes_too) {
  char buffer[4];
  int count = -1;
  EXPECT_EQ(SMsnprintf(buffer, sizeof buffer, "abcdef%n", &count), 3);
  EXPECT_EQ(count, 6);
  // %hn stores 16 bits and nothing beyond them; a null target is skipped.
  short slots[2] = {-1, -1};
  const char *format = "%70000d%hn";
  EXPECT_EQ(SMsnprintf(nullptr, 1, format, 1, &slots[0]), 0);
  EXPECT_EQ(slots[0], static_cast<short>(70000));
  EXPECT_EQ(slots[1], -1);
  const char *plain = "ab%ncd";
  EXPECT_EQ(SMsnprintf(buffer, sizeof buffer, plain, static_cast<int *>(nullptr)), 3);
}

// UCS-2 text is converted to UTF-8 and then treated exactly like %s.
TEST(FormatUcs2, converts_then_prints_as_a_string) {
  const uint16_t hello[] = {'h', 0xE9, 'l', 0x4E16, 0};  // 1 + 2 + 1 + 3 bytes of UTF-8
  // A surrogate pair at the start: the converter resolves each of its two
  // units to the pair's character.
  const uint16_t pair[] = {0xD83D, 0xDE00, 0};
  ExpectRows({
      {F("[%S]", hello), "[h\xC3\xA9l\xE4\xB8\x96]"},
      {F("[%-8S]", hello), "[h\xC3\xA9l\xE4\xB8\x96 ]"},
      {F("[%.2S]", hello), "[h\xC3]"},  // the precision counts bytes and may cut
      {F("%S", pair), "\xF0\x9F\x98\x80\xF0\x9F\x98\x80"},
      // Null is "(null)" read as 16-bit units in memory order.
      {F("%S", static_cast<const uint16_t *>(nullptr)), "\xE6\xB8\xA8\xE6\xB1\xB5\xE2\xA5\xAC"},
  });
  // Text that cannot be converted ends the run: the output so far is
  // terminated and its count returned.
  const uint16_t broken[] = {0xDC00, 'x', 0};
  char buffer[32];
  int count = -1;
  const char *format = "ab%Scd%n";
  EXPECT_EQ(SMsnprintf(buffer, sizeof buffer, format, broken, &count), 2);
  EXPECT_STREQ(buffer, "ab");
  EXPECT_EQ(count, -1);
}

// Attach creates the module's mutex once, detach destroys it (also when
// attach never ran), and threads formatting at once each get their own text
// whether it exists or not.
TEST(FormatModule, attach_and_detach_own_the_lock_and_a_fallback_serialises_without_it) {
  kx::format::FormatDetach();
  for (bool attached : {false, true, false, true}) {
    if (attached) {
      ASSERT_EQ(kx::format::FormatAttach(), 1);
      ASSERT_EQ(kx::format::FormatAttach(), 1);  // a second attach does nothing
    } else {
      kx::format::FormatDetach();
    }
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([t, &mismatches] {
        for (int i = 0; i < 1000; ++i) {
          char ours[64];
          char theirs[64];
          SMsnprintf(ours, sizeof ours, "%d:%05d:%.3f:%s", t, i, i / 8.0, "x");
          std::snprintf(theirs, sizeof theirs, "%d:%05d:%.3f:%s", t, i, i / 8.0, "x");
          if (std::strcmp(ours, theirs) != 0) mismatches.fetch_add(1);
        }
      });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(mismatches.load(), 0) << "attached " << attached;
  }
  kx::format::FormatDetach();
}

}  // namespace
