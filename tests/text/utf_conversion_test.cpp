// UCS-2 <-> UTF-8 conversion: glibc's iconv as the oracle for plain BMP text,
// a unit-by-unit model of the conversion rules for arbitrary input at several
// rooms (outputs are exact-size heap blocks, so the sanitizer sees any write
// past them), and hand-picked cases for the stated quirks.
#include <gtest/gtest.h>
#include <iconv.h>

#include <bit>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kxsupt/text.h"

namespace {

using Units = std::vector<uint16_t>;  // without terminator

// A conversion's status, size out and output (UTF-8 bytes or UCS-2 units as
// bytes, terminator included; empty when measuring or failing).
struct Result {
  uint32_t status;
  uint32_t size;
  std::string bytes;
  bool operator==(const Result &) const = default;
};

// The room that stands for a null output: measuring only.
constexpr uint32_t kMeasure = 0xFFFFFFFF;

std::string UnitBytes(const Units &units) {
  return std::string(reinterpret_cast<const char *>(units.data()), 2 * units.size());
}

// The end of a model conversion whose whole output (terminator included) is
// `out`; failures leave the size as it came in.
Result Finish(const std::string &out, uint32_t room) {
  if (out.size() > room) return {SM_STATUS_BUFFER_TOO_SMALL, room, {}};
  return {SM_STATUS_SUCCESS, static_cast<uint32_t>(out.size()), room == kMeasure ? "" : out};
}

// The UCS-2 -> UTF-8 rules, one unit at a time.
Result Model(const Units &in, uint32_t room) {
  std::string out;
  for (uint32_t cp : in) {
    if (cp >= 0xD800 && cp <= 0xDFFF) {  // stands for the pair at the start of the input
      const uint32_t first = in[0];
      const uint32_t second = in.size() > 1 ? in[1] : 0;
      if (first < 0xD800 || first > 0xDFFF) {
        cp = first;
      } else if (first <= 0xDBFF && second >= 0xDC00 && second <= 0xDFFF) {
        cp = (((first & 0x3FF) << 10) | (second & 0x3FF)) + 0x10000;
      } else {
        return {SM_STATUS_OS_FAILURE, room, {}};
      }
    }
    static const unsigned char kLeadMark[] = {0, 0, 0xC0, 0xE0, 0xF0};
    const int length = cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4;
    out += static_cast<char>(kLeadMark[length] | cp >> (6 * (length - 1)));
    for (int i = length - 2; i >= 0; --i) out += static_cast<char>(0x80 | (cp >> (6 * i) & 0x3F));
    if (out.size() > room) return {SM_STATUS_BUFFER_TOO_SMALL, room, {}};
  }
  return Finish(out + '\0', room);
}

// The UTF-8 -> UCS-2 rules, one character at a time.
Result Model(const std::string &in, uint32_t room) {
  Units out;
  for (size_t at = 0; at < in.size();) {
    const unsigned char lead = in[at];
    const int ones = std::countl_one(lead);  // 1: a continuation byte; 7, 8: 0xFE, 0xFF
    const int length = ones == 0 ? 1 : ones == 1 || ones > 6 ? 0 : ones;
    if (length == 0 || at + length > in.size()) return {SM_STATUS_OS_FAILURE, room, {}};
    uint32_t cp = lead & (0x7F >> ones);
    for (int i = 1; i < length; ++i) cp = cp << 6 | (static_cast<unsigned char>(in[at + i]) & 0x3F);
    if (cp >= 0x110000) return {SM_STATUS_OS_FAILURE, room, {}};
    if (cp < 0x10000) {
      out.push_back(static_cast<uint16_t>(cp));
    } else {
      out.push_back(static_cast<uint16_t>(0xD800 | (cp >> 10 & 0x3FF)));
      out.push_back(static_cast<uint16_t>(0xDC00 | (cp & 0x3FF)));
    }
    if (2 * out.size() > room) return {SM_STATUS_BUFFER_TOO_SMALL, room, {}};
    at += length;
  }
  out.push_back(0);
  return Finish(UnitBytes(out), room);
}

// Ours, writing into a heap block of exactly `room` bytes (whole units for
// UCS-2; the room passed stays as given).
Result Ours(const Units &units, uint32_t room) {
  Units in = units;
  in.push_back(0);
  std::unique_ptr<char[]> out(room == kMeasure ? nullptr : new char[room]);
  uint32_t size = room;
  const uint32_t status = SMUCS2StrToUTF8Str(out.get(), &size, in.data());
  return {status, size, status == SM_STATUS_SUCCESS && out ? std::string(out.get(), size) : ""};
}

Result Ours(const std::string &text, uint32_t room) {
  std::unique_ptr<uint16_t[]> out(room == kMeasure ? nullptr : new uint16_t[(room + 1) / 2]);
  uint32_t size = room;
  const uint32_t status = SMUTF8StrToUCS2Str(out.get(), &size, text.c_str());
  const auto *bytes = reinterpret_cast<const char *>(out.get());
  return {status, size, status == SM_STATUS_SUCCESS && out ? std::string(bytes, size) : ""};
}

// Ours against the model when measuring and at rooms around the size needed.
template <typename Input>
void ExpectLikeModel(const Input &in, uint32_t other_room) {
  const Result measured = Model(in, kMeasure);
  ASSERT_EQ(Ours(in, kMeasure), measured) << testing::PrintToString(in);
  const uint32_t needed = measured.status == SM_STATUS_SUCCESS ? measured.size : 0;
  for (uint32_t room : {needed, needed + 1, needed + 7, needed - (needed > 0), 0u, other_room}) {
    ASSERT_EQ(Ours(in, room), Model(in, room)) << testing::PrintToString(in) << " room " << room;
  }
}

// Converting `in` measures and gives `out` (terminator included) when
// `status` is 0; otherwise measuring already fails with `status`.
template <typename Input>
void ExpectConverts(const Input &in, uint32_t status, const std::string &out) {
  const uint32_t size = status == SM_STATUS_SUCCESS ? out.size() : kMeasure;
  ASSERT_EQ(Ours(in, kMeasure), (Result{status, size, ""})) << testing::PrintToString(in);
  if (status == SM_STATUS_SUCCESS) {
    ASSERT_EQ(Ours(in, size), (Result{status, size, out}));
  }
}

std::string Iconv(const char *to, const char *from, const std::string &in) {
  iconv_t cd = iconv_open(to, from);
  EXPECT_NE(cd, reinterpret_cast<iconv_t>(-1));
  std::string out(in.size() * 3, '\0');
  char *src = const_cast<char *>(in.data());
  size_t src_left = in.size();
  char *dst = out.data();
  size_t dst_left = out.size();
  EXPECT_NE(iconv(cd, &src, &src_left, &dst, &dst_left), size_t(-1)) << "iconv refused its input";
  iconv_close(cd);
  out.resize(out.size() - dst_left);
  return out;
}

// Random BMP text without surrogates or zeros, in runs from one range at a
// time (so that block paths see long plain stretches and every boundary).
Units RandomBmpText(std::mt19937 &random, size_t length) {
  static const uint16_t kRanges[][2] = {{0x01, 0x7F},     {0x20, 0x7E},     {0x80, 0x7FF},
                                        {0x800, 0xD7FF},  {0xE000, 0xFFFF}, {0x01, 0xD7FF},
                                        {0x3041, 0x3096}, {0x4E00, 0x9FFF}};
  Units units;
  while (units.size() < length) {
    const auto &range = kRanges[random() % std::size(kRanges)];
    std::uniform_int_distribution<int> pick(range[0], range[1]);
    for (size_t run = 1 + random() % 40; run > 0 && units.size() < length; --run) {
      units.push_back(static_cast<uint16_t>(pick(random)));
    }
  }
  return units;
}

TEST(Utf8Conversion, plain_bmp_text_matches_iconv_both_ways) {
  std::mt19937 random(1);
  for (int round = 0; round < 600; ++round) {
    const Units units = RandomBmpText(random, round < 500 ? random() % 120 : random() % 5000);
    // Both with their terminators.
    const std::string utf8 = Iconv("UTF-8", "UCS-2LE", UnitBytes(units) + std::string(2, '\0'));
    const std::string ucs2 = Iconv("UCS-2LE", "UTF-8", utf8);
    ASSERT_NO_FATAL_FAILURE(ExpectConverts(units, SM_STATUS_SUCCESS, utf8));
    ASSERT_NO_FATAL_FAILURE(ExpectConverts(utf8, SM_STATUS_SUCCESS, ucs2));
  }
}

TEST(Utf8Conversion, arbitrary_input_follows_the_model) {
  // Damage for valid UTF-8 is a slice of this: stray continuation bytes, cut
  // sequences, long and overlong forms, 0xFE/0xFF, leads before plain bytes.
  static const std::string kDamage =
      "\x80\xBF\xC3\xE2\x82\xF0\x9F\x98\x80\xF4\x90\x80\x80\xFE\xFF\xC0\x80\xC3\x29\xE0"
      "\x41\x42\xED\xA0\x80\xF4\x8F\xBF\xBF\xF8\x88\x80\x80\x80\xFC\x84\x80\x80\x80\x80";
  std::mt19937 random(2);
  for (int round = 0; round < 1500; ++round) {
    const size_t length = round % 10 == 0 ? random() % 600 : random() % 70;
    // Units from everywhere, surrogates included and often first.
    Units units = RandomBmpText(random, length);
    for (uint16_t &unit : units) {
      if (random() % 12 == 0) unit = static_cast<uint16_t>(0xD800 + random() % 0x800);
    }
    if (length > 0 && random() % 3 == 0)
      units[0] = static_cast<uint16_t>(0xD800 + random() % 0x800);
    if (length > 1 && random() % 3 == 0)
      units[1] = static_cast<uint16_t>(0xDC00 + random() % 0x400);
    ASSERT_NO_FATAL_FAILURE(ExpectLikeModel(units, random() % 64));

    std::string text = Iconv("UTF-8", "UCS-2LE", UnitBytes(RandomBmpText(random, length)));
    for (int damage = random() % 4; damage > 0; --damage) {
      text.insert(random() % (text.size() + 1),
                  kDamage.substr(random() % kDamage.size(), 1 + random() % 6));
    }
    ASSERT_NO_FATAL_FAILURE(ExpectLikeModel(text, random() % 64));
  }
}

// One odd character at every offset of a long plain run: every block boundary
// of the fast paths meets it.
TEST(Utf8Conversion, one_odd_character_at_every_offset_of_a_long_run) {
  for (size_t offset = 0; offset < 40; ++offset) {
    for (const char *odd : {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xC3\x29", "\x80",
                            "\xE2\x82", "\xFE", "\xF8\x80\x80\x80\x80"}) {
      for (const char *fill : {"a", "\xD0\x96", "\xE4\xB8\x80"}) {
        std::string text;
        while (text.size() < offset) text += fill;
        text += odd;
        while (text.size() < 80) text += fill;
        ASSERT_NO_FATAL_FAILURE(ExpectLikeModel(text, 0));
      }
    }
    for (uint16_t odd : {0xE9, 0x20AC, 0xD800, 0xDC00}) {
      for (uint16_t fill : {0x61, 0x416, 0x4E00}) {
        Units units(80, fill);
        units[offset] = odd;
        ASSERT_NO_FATAL_FAILURE(ExpectLikeModel(units, 0));
      }
    }
  }
}

// Hand-picked, as the models above share their reading of these rules.
TEST(Utf8Conversion, stated_quirks) {
  // A surrogate unit stands for the first unit, or the pair that starts the input.
  ExpectConverts(Units{0x41, 0xD83D, 0xDE00}, SM_STATUS_SUCCESS, std::string("AAA", 4));
  ExpectConverts(Units{0xD83D, 0xDE00}, SM_STATUS_SUCCESS,
                 std::string("\xF0\x9F\x98\x80\xF0\x9F\x98\x80", 9));
  ExpectConverts(Units{0xDE00, 0x41}, SM_STATUS_OS_FAILURE, "");
  ExpectConverts(Units{0xD83D}, SM_STATUS_OS_FAILURE, "");
  // The high unit is 0xD800 | (cp >> 10): nothing is subtracted first.
  ExpectConverts("\xF0\x9F\x98\x80", SM_STATUS_SUCCESS, UnitBytes({0xD87D, 0xDE00, 0}));
  ExpectConverts("\xF4\x8F\xBF\xBF", SM_STATUS_SUCCESS, UnitBytes({0xD83F, 0xDFFF, 0}));
  // Six- and five-byte forms, and overlong ones, decode; 0x110000 and above fail.
  ExpectConverts("\xFC\x80\x80\x80\x83\xBF", SM_STATUS_SUCCESS, UnitBytes({0xFF, 0}));
  ExpectConverts("\xF8\x80\x80\x81\x81\xC1\x81", SM_STATUS_SUCCESS, UnitBytes({'A', 'A', 0}));
  ExpectConverts("\xF4\x90\x80\x80", SM_STATUS_OS_FAILURE, "");
  ExpectConverts("\xC3", SM_STATUS_OS_FAILURE, "");  // cut by the terminator
  ExpectConverts("\x80", SM_STATUS_OS_FAILURE, "");

  const uint16_t units[] = {'a', 0};
  uint32_t size = 8;
  EXPECT_EQ(SMUCS2StrToUTF8Str(nullptr, nullptr, units), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMUCS2StrToUTF8Str(nullptr, &size, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMUTF8StrToUCS2Str(nullptr, nullptr, "a"), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMUTF8StrToUCS2Str(nullptr, &size, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(size, 8u);
}

}  // namespace
