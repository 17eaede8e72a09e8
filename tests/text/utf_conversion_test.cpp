// UCS-2 <-> UTF-8 conversion: glibc's iconv as the oracle for plain BMP text,
// a unit-by-unit model of the contract for everything else (surrogates,
// malformed and six-byte UTF-8), measuring, short rooms, and the stated quirks.
#include <gtest/gtest.h>
#include <iconv.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kxsupt/text.h"

namespace {

using Units = std::vector<uint16_t>;  // without terminator

struct Result {
  uint32_t status;
  std::string bytes;  // UTF-8 bytes or UCS-2 units as bytes, terminator included
};

// The UCS-2 -> UTF-8 contract, one unit at a time, with `room` bytes of
// output (a huge room when measuring).
Result ModelToUtf8(const Units &in, uint64_t room) {
  std::string out;
  for (uint16_t unit : in) {
    uint32_t cp = unit;
    if (cp >= 0xD800 && cp <= 0xDFFF) {
      const uint32_t first = in[0];
      const uint32_t second = in.size() > 1 ? in[1] : 0;
      if (first < 0xD800 || first > 0xDFFF) {
        cp = first;
      } else if (first <= 0xDBFF && second >= 0xDC00 && second <= 0xDFFF) {
        cp = (((first & 0x3FF) << 10) | (second & 0x3FF)) + 0x10000;
      } else {
        return {SM_STATUS_OS_FAILURE, {}};
      }
    }
    std::string bytes;
    if (cp < 0x80) {
      bytes = {char(cp)};
    } else if (cp < 0x800) {
      bytes = {char(0xC0 | cp >> 6), char(0x80 | (cp & 0x3F))};
    } else if (cp < 0x10000) {
      bytes = {char(0xE0 | cp >> 12), char(0x80 | (cp >> 6 & 0x3F)), char(0x80 | (cp & 0x3F))};
    } else {
      bytes = {char(0xF0 | cp >> 18), char(0x80 | (cp >> 12 & 0x3F)), char(0x80 | (cp >> 6 & 0x3F)),
               char(0x80 | (cp & 0x3F))};
    }
    if (out.size() + bytes.size() > room) return {SM_STATUS_BUFFER_TOO_SMALL, {}};
    out += bytes;
  }
  if (out.size() + 1 > room) return {SM_STATUS_BUFFER_TOO_SMALL, {}};
  out.push_back('\0');
  return {SM_STATUS_SUCCESS, out};
}

// The UTF-8 -> UCS-2 contract, one character at a time.
Result ModelToUcs2(const std::string &in, uint64_t room) {
  Units out;
  for (size_t at = 0; at < in.size();) {
    static const struct {
      unsigned mask, mark;
      int length;
    } kLeads[] = {{0x80, 0x00, 1}, {0xE0, 0xC0, 2}, {0xF0, 0xE0, 3},
                  {0xF8, 0xF0, 4}, {0xFC, 0xF8, 5}, {0xFE, 0xFC, 6}};
    const unsigned char lead = in[at];
    int length = 0;
    uint32_t cp = 0;
    for (const auto &form : kLeads) {
      if ((lead & form.mask) != form.mark) continue;
      length = form.length;
      cp = lead & ~form.mask & 0xFF;
      break;
    }
    if (length == 0) return {SM_STATUS_OS_FAILURE, {}};  // 10xxxxxx, 0xFE, 0xFF
    if (at + length > in.size()) return {SM_STATUS_OS_FAILURE, {}};
    for (int i = 1; i < length; ++i) cp = cp << 6 | (static_cast<unsigned char>(in[at + i]) & 0x3F);
    if (cp >= 0x110000) return {SM_STATUS_OS_FAILURE, {}};
    Units units;
    if (cp < 0x10000) {
      units = {uint16_t(cp)};
    } else {
      units = {uint16_t(0xD800 | (cp >> 10 & 0x3FF)), uint16_t(0xDC00 | (cp & 0x3FF))};
    }
    if (2 * (out.size() + units.size()) > room) return {SM_STATUS_BUFFER_TOO_SMALL, {}};
    out.insert(out.end(), units.begin(), units.end());
    at += length;
  }
  if (2 * (out.size() + 1) > room) return {SM_STATUS_BUFFER_TOO_SMALL, {}};
  out.push_back(0);
  return {SM_STATUS_SUCCESS,
          std::string(reinterpret_cast<const char *>(out.data()), 2 * out.size())};
}

// Ours with exactly `room` bytes of heap output (so that the sanitizer sees
// any write past it); size holds the room on entry.
Result OursToUtf8(const Units &units, uint32_t room, uint32_t *size_out) {
  Units in = units;
  in.push_back(0);
  std::unique_ptr<char[]> out(new char[room]);
  *size_out = room;
  const uint32_t status = SMUCS2StrToUTF8Str(out.get(), size_out, in.data());
  if (status != SM_STATUS_SUCCESS) return {status, {}};
  return {status, std::string(out.get(), *size_out)};
}

Result OursToUcs2(const std::string &text, uint32_t room, uint32_t *size_out) {
  // Whole units of heap memory, but the room stays exactly as given.
  std::unique_ptr<uint16_t[]> out(new uint16_t[(room + 1) / 2]);
  *size_out = room;
  const uint32_t status = SMUTF8StrToUCS2Str(out.get(), size_out, text.c_str());
  if (status != SM_STATUS_SUCCESS) return {status, {}};
  return {status, std::string(reinterpret_cast<const char *>(out.get()), *size_out)};
}

uint32_t MeasureUtf8(const Units &units, uint32_t *status) {
  Units in = units;
  in.push_back(0);
  uint32_t size = 12345;
  *status = SMUCS2StrToUTF8Str(nullptr, &size, in.data());
  return size;
}

uint32_t MeasureUcs2(const std::string &text, uint32_t *status) {
  uint32_t size = 12345;
  *status = SMUTF8StrToUCS2Str(nullptr, &size, text.c_str());
  return size;
}

std::string Iconv(const char *to, const char *from, const std::string &in) {
  iconv_t cd = iconv_open(to, from);
  EXPECT_NE(cd, reinterpret_cast<iconv_t>(-1));
  std::string out(in.size() * 3 + 8, '\0');
  char *src = const_cast<char *>(in.data());
  size_t src_left = in.size();
  char *dst = out.data();
  size_t dst_left = out.size();
  const size_t done = iconv(cd, &src, &src_left, &dst, &dst_left);
  iconv_close(cd);
  EXPECT_NE(done, size_t(-1)) << "iconv refused its input";
  out.resize(out.size() - dst_left);
  return out;
}

std::string UnitBytes(const Units &units) {
  return std::string(reinterpret_cast<const char *>(units.data()), 2 * units.size());
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
    const size_t length = round < 500 ? random() % 120 : random() % 5000;
    const Units units = RandomBmpText(random, length);
    const std::string expected_utf8 = Iconv("UTF-8", "UCS-2LE", UnitBytes(units));

    uint32_t status;
    const uint32_t measured = MeasureUtf8(units, &status);
    ASSERT_EQ(status, SM_STATUS_SUCCESS);
    ASSERT_EQ(measured, expected_utf8.size() + 1);
    uint32_t size;
    Result utf8 = OursToUtf8(units, measured, &size);
    ASSERT_EQ(utf8.status, SM_STATUS_SUCCESS);
    ASSERT_EQ(size, measured);
    ASSERT_EQ(utf8.bytes, expected_utf8 + '\0') << "round " << round;

    const std::string expected_ucs2 = Iconv("UCS-2LE", "UTF-8", expected_utf8);
    ASSERT_EQ(expected_ucs2, UnitBytes(units));
    const uint32_t measured_units = MeasureUcs2(expected_utf8, &status);
    ASSERT_EQ(status, SM_STATUS_SUCCESS);
    ASSERT_EQ(measured_units, expected_ucs2.size() + 2);
    Result ucs2 = OursToUcs2(expected_utf8, measured_units, &size);
    ASSERT_EQ(ucs2.status, SM_STATUS_SUCCESS);
    ASSERT_EQ(size, measured_units);
    ASSERT_EQ(ucs2.bytes, expected_ucs2 + std::string(2, '\0')) << "round " << round;
  }
}

// Units from everywhere, surrogates included, often placed first.
Units RandomUnits(std::mt19937 &random, size_t length) {
  Units units = RandomBmpText(random, length);
  for (uint16_t &unit : units) {
    if (random() % 12 == 0) unit = static_cast<uint16_t>(0xD800 + random() % 0x800);
  }
  if (!units.empty() && random() % 3 == 0)
    units[0] = static_cast<uint16_t>(0xD800 + random() % 0x800);
  if (units.size() > 1 && random() % 3 == 0)
    units[1] = static_cast<uint16_t>(0xDC00 + random() % 0x400);
  return units;
}

// Valid text, then damaged: stray continuation bytes, cut sequences, long
// and overlong forms, 0xFE/0xFF, leads followed by non-continuation bytes.
std::string RandomUtf8(std::mt19937 &random, size_t length) {
  const Units units = RandomBmpText(random, length);
  const Result valid = ModelToUtf8(units, ~uint64_t{0});
  std::string text = valid.bytes.substr(0, valid.bytes.size() - 1);
  static const char *const kPieces[] = {"\x80",
                                        "\xBF",
                                        "\xC3",
                                        "\xE2\x82",
                                        "\xF0\x9F\x98\x80",
                                        "\xF4\x8F\xBF\xBF",
                                        "\xF4\x90\x80\x80",
                                        "\xF8\x88\x80\x80\x80",
                                        "\xFC\x84\x80\x80\x80\x80",
                                        "\xFE",
                                        "\xFF",
                                        "\xC0\x80",
                                        "\xC1\x81",
                                        "\xC3\x29",
                                        "\xE0\x41\x42",
                                        "\xED\xA0\x80"};
  const int damage = random() % 4;
  for (int i = 0; i < damage; ++i) {
    const char *piece = kPieces[random() % std::size(kPieces)];
    text.insert(text.empty() ? 0 : random() % (text.size() + 1), piece);
  }
  return text;
}

TEST(Utf8Conversion, arbitrary_input_follows_the_model_at_every_room) {
  std::mt19937 random(2);
  for (int round = 0; round < 1500; ++round) {
    const size_t length = round % 10 == 0 ? random() % 600 : random() % 70;

    const Units units = RandomUnits(random, length);
    const Result full = ModelToUtf8(units, ~uint64_t{0});
    uint32_t status;
    const uint32_t measured = MeasureUtf8(units, &status);
    ASSERT_EQ(status, full.status);
    const uint32_t needed = full.status == SM_STATUS_SUCCESS ? full.bytes.size() : 0;
    if (status == SM_STATUS_SUCCESS) {
      ASSERT_EQ(measured, needed);
    }
    for (uint32_t room :
         {needed, needed + 7, needed ? needed - 1 : 0, uint32_t(random() % 64), 0u}) {
      const Result model = ModelToUtf8(units, room);
      uint32_t size;
      const Result ours = OursToUtf8(units, room, &size);
      ASSERT_EQ(ours.status, model.status) << "round " << round << " room " << room;
      ASSERT_EQ(ours.bytes, model.bytes) << "round " << round;
      if (ours.status != SM_STATUS_SUCCESS) {
        ASSERT_EQ(size, room);
      }
    }

    const std::string text = RandomUtf8(random, length);
    const Result full_units = ModelToUcs2(text, ~uint64_t{0});
    const uint32_t measured_units = MeasureUcs2(text, &status);
    ASSERT_EQ(status, full_units.status) << "round " << round;
    const uint32_t needed_units =
        full_units.status == SM_STATUS_SUCCESS ? full_units.bytes.size() : 0;
    if (status == SM_STATUS_SUCCESS) {
      ASSERT_EQ(measured_units, needed_units);
    }
    for (uint32_t room : {needed_units, needed_units + 1, needed_units ? needed_units - 1 : 0,
                          uint32_t(random() % 64), 0u}) {
      const Result model = ModelToUcs2(text, room);
      uint32_t size;
      const Result ours = OursToUcs2(text, room, &size);
      ASSERT_EQ(ours.status, model.status) << "round " << round << " room " << room;
      ASSERT_EQ(ours.bytes, model.bytes) << "round " << round;
      if (ours.status != SM_STATUS_SUCCESS) {
        ASSERT_EQ(size, room);
      }
    }
  }
}

TEST(Utf8Conversion, every_short_room_gives_16_and_leaves_the_size) {
  const Units units = {'a', 0xE9, 0x20AC, 'z', 0x7FF, 0x800};  // 1+2+3+1+2+3 bytes
  uint32_t status;
  const uint32_t needed = MeasureUtf8(units, &status);
  ASSERT_EQ(needed, 13u);
  for (uint32_t room = 0; room < needed; ++room) {
    uint32_t size;
    EXPECT_EQ(OursToUtf8(units, room, &size).status, SM_STATUS_BUFFER_TOO_SMALL) << room;
    EXPECT_EQ(size, room);
  }
  const std::string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z";  // 1+1+1+2+1 units
  const uint32_t needed_units = MeasureUcs2(text, &status);
  ASSERT_EQ(needed_units, 14u);
  for (uint32_t room = 0; room < needed_units; ++room) {
    uint32_t size;
    EXPECT_EQ(OursToUcs2(text, room, &size).status, SM_STATUS_BUFFER_TOO_SMALL) << room;
    EXPECT_EQ(size, room);
  }
}

TEST(Utf8Conversion, null_input_or_size_is_271) {
  const uint16_t units[] = {'a', 0};
  uint32_t size = 8;
  char bytes[8];
  uint16_t wide[4];
  EXPECT_EQ(SMUCS2StrToUTF8Str(bytes, nullptr, units), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMUCS2StrToUTF8Str(bytes, &size, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMUTF8StrToUCS2Str(wide, nullptr, "a"), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMUTF8StrToUCS2Str(wide, &size, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(size, 8u);
}

TEST(Ucs2ToUtf8, surrogates_resolve_from_the_first_two_units_of_the_input) {
  struct Case {
    Units in;
    uint32_t status;
    std::string out;
  };
  const Case cases[] = {
      {{0x41, 0xD83D, 0xDE00}, SM_STATUS_SUCCESS, "AAA"},
      {{0xE9, 'x', 0xDC00}, SM_STATUS_SUCCESS, "\xC3\xA9x\xC3\xA9"},
      // A leading pair: each surrogate unit becomes the pair's code point.
      {{0xD83D, 0xDE00}, SM_STATUS_SUCCESS, "\xF0\x9F\x98\x80\xF0\x9F\x98\x80"},
      {{0xDBFF, 0xDFFF, 'a', 0xD800},
       SM_STATUS_SUCCESS,
       "\xF4\x8F\xBF\xBF\xF4\x8F\xBF\xBF"
       "a\xF4\x8F\xBF\xBF"},
      {{0xDE00, 0x41}, SM_STATUS_OS_FAILURE, ""},  // low surrogate first
      {{0xD83D}, SM_STATUS_OS_FAILURE, ""},        // high surrogate, then the terminator
      {{0xD83D, 0xD83D}, SM_STATUS_OS_FAILURE, ""},
      {{0xE9}, SM_STATUS_SUCCESS, "\xC3\xA9"},
      {{0x7F, 0x80, 0x7FF, 0x800, 0xFFFF},
       SM_STATUS_SUCCESS,
       "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
  };
  for (const Case &c : cases) {
    uint32_t status;
    const uint32_t measured = MeasureUtf8(c.in, &status);
    EXPECT_EQ(status, c.status);
    if (status != SM_STATUS_SUCCESS) continue;
    EXPECT_EQ(measured, c.out.size() + 1);
    uint32_t size;
    EXPECT_EQ(OursToUtf8(c.in, measured, &size).bytes, c.out + '\0');
  }
}

TEST(Utf8ToUcs2, decoding_quirks_table) {
  struct Case {
    std::string in;
    uint32_t status;
    Units out;
  };
  const Case cases[] = {
      // The high unit is 0xD800 | (cp >> 10): no 0x10000 is subtracted first.
      {"\xF0\x9F\x98\x80", SM_STATUS_SUCCESS, {0xD87D, 0xDE00}},
      {"\xF4\x8F\xBF\xBF", SM_STATUS_SUCCESS, {0xD83F, 0xDFFF}},
      {"\xF0\x90\x80\x80", SM_STATUS_SUCCESS, {0xD840, 0xDC00}},
      {"\xC3\xA9", SM_STATUS_SUCCESS, {0xE9}},
      {"\xED\xA0\x80", SM_STATUS_SUCCESS, {0xD800}},  // surrogate values pass
      {"\xC1\x81", SM_STATUS_SUCCESS, {'A'}},         // overlong accepted
      {"a\xC0\x80"
       "b",
       SM_STATUS_SUCCESS,
       {'a', 0, 'b'}},                                          // even for 0
      {"\xC3\x29", SM_STATUS_SUCCESS, {0xE9}},                  // top bits unchecked
      {"\xC3\xE9", SM_STATUS_SUCCESS, {0xE9}},                  //
      {"\xF8\x80\x80\x80\x80", SM_STATUS_SUCCESS, {0}},         // five-byte form
      {"\xF8\x80\x80\x81\x81", SM_STATUS_SUCCESS, {'A'}},       //
      {"\xFC\x80\x80\x80\x83\xBF", SM_STATUS_SUCCESS, {0xFF}},  // six-byte form
      {"\xF4\x90\x80\x80", SM_STATUS_OS_FAILURE, {}},           // 0x110000
      {"\xF8\x88\x80\x80\x80", SM_STATUS_OS_FAILURE, {}},       // 0x200000
      {"\xFD\xBF\xBF\xBF\xBF\xBF", SM_STATUS_OS_FAILURE, {}},   // 0x7FFFFFFF
      {"\xC3", SM_STATUS_OS_FAILURE, {}},                       // cut by the terminator
      {"ab\xE2\x82", SM_STATUS_OS_FAILURE, {}},                 //
      {"\x80", SM_STATUS_OS_FAILURE, {}},                       // continuation as lead
      {"a\xBF", SM_STATUS_OS_FAILURE, {}},                      //
      {"\xFE", SM_STATUS_OS_FAILURE, {}},                       // never a lead
      {"\xFF", SM_STATUS_OS_FAILURE, {}},                       //
      {"", SM_STATUS_SUCCESS, {}},
  };
  for (const Case &c : cases) {
    uint32_t status;
    const uint32_t measured = MeasureUcs2(c.in, &status);
    EXPECT_EQ(status, c.status) << testing::PrintToString(c.in);
    if (status != SM_STATUS_SUCCESS) continue;
    EXPECT_EQ(measured, 2 * c.out.size() + 2);
    uint32_t size;
    Units expected = c.out;
    expected.push_back(0);
    EXPECT_EQ(OursToUcs2(c.in, measured, &size).bytes, UnitBytes(expected))
        << testing::PrintToString(c.in);
  }
}

TEST(Utf8ToUcs2, c3_00_is_a_truncated_sequence) {
  const char text[] = {'\xC3', '\0'};
  uint32_t size = 100;
  uint16_t out[8];
  EXPECT_EQ(SMUTF8StrToUCS2Str(out, &size, text), SM_STATUS_OS_FAILURE);
  EXPECT_EQ(size, 100u);
}

TEST(Utf8ToUcs2, odd_room_uses_whole_units_only) {
  uint32_t size;
  EXPECT_EQ(OursToUcs2("A", 3, &size).status, SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 3u);
  const Result fits = OursToUcs2("A", 5, &size);
  EXPECT_EQ(fits.status, SM_STATUS_SUCCESS);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(fits.bytes, std::string("A\0\0\0", 4));
}

// Long stretches around block edges: every split of a plain run by a damaged
// or wide character, at every offset, agrees with the model.
TEST(Utf8Conversion, a_single_odd_character_at_every_offset_of_a_long_run) {
  const char *const kOdd[] = {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80",    "\xC3\x29", "\x80",
                              "\xE2\x82", "\xFE",         "\xF8\x80\x80\x80\x80"};
  for (const char *odd : kOdd) {
    for (size_t offset = 0; offset < 40; ++offset) {
      for (const char *fill : {"a", "\xD0\x96", "\xE4\xB8\x80"}) {
        std::string text;
        while (text.size() < offset) text += fill;
        text += odd;
        while (text.size() < 80) text += fill;
        const Result model = ModelToUcs2(text, ~uint64_t{0});
        uint32_t status;
        const uint32_t measured = MeasureUcs2(text, &status);
        ASSERT_EQ(status, model.status) << offset;
        if (status != SM_STATUS_SUCCESS) continue;
        uint32_t size;
        ASSERT_EQ(OursToUcs2(text, measured, &size).bytes, model.bytes) << offset;
      }
    }
  }
  for (uint16_t odd : {uint16_t{0xE9}, uint16_t{0x20AC}, uint16_t{0xD800}, uint16_t{0xDC00}}) {
    for (size_t offset = 0; offset < 40; ++offset) {
      for (uint16_t fill : {uint16_t{'a'}, uint16_t{0x416}, uint16_t{0x4E00}}) {
        Units units(80, fill);
        units[offset] = odd;
        const Result model = ModelToUtf8(units, ~uint64_t{0});
        uint32_t status;
        const uint32_t measured = MeasureUtf8(units, &status);
        ASSERT_EQ(status, model.status);
        uint32_t size;
        ASSERT_EQ(OursToUtf8(units, measured, &size).bytes, model.bytes) << offset;
      }
    }
  }
}

}  // namespace
