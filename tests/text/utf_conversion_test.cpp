// UCS-2 <-> UTF-8 conversion: the stated quirks, measuring, and short buffers.
#include "text/utf.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kxsupt/base.h"

namespace {

std::string ToUtf8(const std::vector<uint16_t> &units, uint32_t *status) {
  std::vector<uint16_t> in = units;
  in.push_back(0);
  uint32_t size = 0;
  *status = kx::text::Ucs2ToUtf8(nullptr, &size, in.data());
  if (*status != SM_STATUS_SUCCESS) return {};
  std::string out(size, '\x7f');
  uint32_t room = size;
  *status = kx::text::Ucs2ToUtf8(out.data(), &room, in.data());
  EXPECT_EQ(room, size);
  out.resize(size - 1);
  return out;
}

TEST(Ucs2ToUtf8, surrogates_resolve_from_the_first_two_units) {
  uint32_t status;
  EXPECT_EQ(ToUtf8({0x41, 0xD83D, 0xDE00}, &status), "AAA");
  EXPECT_EQ(status, SM_STATUS_SUCCESS);
  // A leading pair: each surrogate unit becomes the pair's code point.
  EXPECT_EQ(ToUtf8({0xD83D, 0xDE00}, &status), "\xF0\x9F\x98\x80\xF0\x9F\x98\x80");
  ToUtf8({0xDE00, 0x41}, &status);
  EXPECT_EQ(status, SM_STATUS_OS_FAILURE);
  ToUtf8({0xD83D}, &status);
  EXPECT_EQ(status, SM_STATUS_OS_FAILURE);
}

TEST(Ucs2ToUtf8, measures_and_refuses_short_buffers_without_touching_size) {
  const uint16_t in[] = {0x00E9, 0};
  uint32_t size = 0;
  ASSERT_EQ(kx::text::Ucs2ToUtf8(nullptr, &size, in), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, 3u);
  char out[3];
  for (uint32_t room = 0; room < 3; ++room) {
    uint32_t given = room;
    EXPECT_EQ(kx::text::Ucs2ToUtf8(out, &given, in), SM_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(given, room);
  }
  EXPECT_EQ(kx::text::Ucs2ToUtf8(nullptr, nullptr, in), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(kx::text::Ucs2ToUtf8(out, &size, nullptr), SM_STATUS_INVALID_PARAMETER);
}

TEST(Utf8ToUcs2, supplementary_code_point_uses_the_unsubtracted_high_unit) {
  uint32_t size = 0;
  ASSERT_EQ(kx::text::Utf8ToUcs2(nullptr, &size, "\xF0\x9F\x98\x80"), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, 6u);
  uint16_t out[3] = {1, 1, 1};
  ASSERT_EQ(kx::text::Utf8ToUcs2(out, &size, "\xF0\x9F\x98\x80"), SM_STATUS_SUCCESS);
  EXPECT_EQ(out[0], 0xD87D);
  EXPECT_EQ(out[1], 0xDE00);
  EXPECT_EQ(out[2], 0);
}

TEST(Utf8ToUcs2, malformed_input_table) {
  struct Case {
    const char *in;
    uint32_t status;
  };
  const Case cases[] = {
      {"\xC3", SM_STATUS_OS_FAILURE},               // truncated by the terminator
      {"\x80", SM_STATUS_OS_FAILURE},               // continuation byte as lead
      {"\xFE", SM_STATUS_OS_FAILURE},               // never a lead byte
      {"\xFF", SM_STATUS_OS_FAILURE},               //
      {"\xF4\x90\x80\x80", SM_STATUS_OS_FAILURE},   // 0x110000
      {"\xC1\x81", SM_STATUS_SUCCESS},              // overlong 'A' is accepted
      {"\xC3\x29", SM_STATUS_SUCCESS},              // continuation top bits unchecked
      {"\xF8\x80\x80\x80\x80", SM_STATUS_SUCCESS},  // five-byte form of 0
  };
  for (const Case &c : cases) {
    uint32_t size = 0;
    EXPECT_EQ(kx::text::Utf8ToUcs2(nullptr, &size, c.in), c.status) << c.in;
  }
}

TEST(Utf8ToUcs2, odd_room_uses_whole_units_only) {
  uint16_t out[2];
  uint32_t size = 3;  // one unit and a spare byte: no room for the terminator
  EXPECT_EQ(kx::text::Utf8ToUcs2(out, &size, "A"), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 3u);
  size = 4;
  EXPECT_EQ(kx::text::Utf8ToUcs2(out, &size, "A"), SM_STATUS_SUCCESS);
  EXPECT_EQ(out[0], 'A');
  EXPECT_EQ(out[1], 0);
}

}  // namespace
