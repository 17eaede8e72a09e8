// UCS-2 string routines against std::u16string (the _s forms told a size far
// too small, which they ignore), the modulo compare, the length scan at a page
// edge, the process-wide tokenizer, and escaping against snprintf.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "base/memory.h"
#include "kxsupt/text.h"
#include "text_test_support.h"

namespace {

using kx_text_test::Buffer;
using kx_text_test::Terminated;

std::u16string Text(const uint16_t *s) {
  std::u16string text;
  while (*s != 0) text.push_back(static_cast<char16_t>(*s++));
  return text;
}

uint16_t *At(Buffer &s, size_t at) {
  return at == std::u16string::npos ? nullptr : s.data() + at;
}

// Short strings over a small alphabet, so that searches and spans hit.
std::u16string RandomText(std::mt19937 &random, size_t max_length) {
  static const char16_t kAlphabet[] = {u'a', u'b', u'c', u' ', 0x00E9, 0xD800, 0xFFFF, 0x8000};
  std::u16string text(random() % (max_length + 1), u'a');
  for (char16_t &unit : text) unit = kAlphabet[random() % std::size(kAlphabet)];
  return text;
}

TEST(Ucs2Strings, agree_with_the_u16string_model) {
  std::mt19937 random(3);
  for (int round = 0; round < 3000; ++round) {
    const std::u16string a = RandomText(random, round % 50 == 0 ? 200 : 12);
    const std::u16string b = RandomText(random, round % 3 == 0 ? 2 : 6);
    Buffer ua = Terminated(a);
    Buffer ub = Terminated(b);
    const bool secure = round % 2 == 1;
    const uint32_t n = random() % 8;

    ASSERT_EQ(SMUCS2Strlen(ua.data()), a.size());
    Buffer dst = Terminated(u"", a.size() + b.size());  // exactly large enough
    ASSERT_EQ(
        secure ? SMUCS2Strcpy_s(dst.data(), 1, ua.data()) : SMUCS2Strcpy(dst.data(), ua.data()),
        dst.data());
    ASSERT_EQ(
        secure ? SMUCS2Strcat_s(dst.data(), 1, ub.data()) : SMUCS2Strcat(dst.data(), ub.data()),
        dst.data());
    ASSERT_EQ(dst, Terminated(a + b));

    const uint16_t unit = b.empty() ? 0 : b[0];  // 0 finds the terminator
    ASSERT_EQ(SMUCS2Strchr(ua.data(), unit), At(ua, unit == 0 ? a.size() : a.find(unit)));
    ASSERT_EQ(SMUCS2Strstr(ua.data(), ub.data()), At(ua, a.find(b)));
    ASSERT_EQ(SMUCS2Strspn(ua.data(), ub.data()), std::min(a.find_first_not_of(b), a.size()));
    ASSERT_EQ(SMUCS2Strcspn(ua.data(), ub.data()), std::min(a.find_first_of(b), a.size()));
    const auto [pa, pb] = std::mismatch(ua.begin(), ua.end(), ub.begin(), ub.end());
    ASSERT_EQ(SMUCS2Strcmp(ua.data(), ub.data()), a == b ? 0 : (uint32_t{*pa} - *pb) & 0xFFFF);

    Buffer work = ua;
    ASSERT_EQ(SMUCS2Strrev(work.data()), work.data());
    ASSERT_EQ(work, Terminated(std::u16string(a.rbegin(), a.rend())));
    ASSERT_EQ(secure ? SMUCS2Strset_s(work.data(), 1, u'z') : SMUCS2Strset(work.data(), u'z'),
              work.data());
    ASSERT_EQ(work, Terminated(std::u16string(a.size(), u'z')));

    // Strnset sets exactly `count` units, through the terminator and beyond.
    Buffer set = Terminated(a, 8);
    Buffer set_expected = set;
    const uint32_t count = random() % (a.size() + 10);
    std::fill_n(set_expected.begin(), count, u'k');
    secure ? SMUCS2Strnset_s(set.data(), 1, u'k', count) : SMUCS2Strnset(set.data(), u'k', count);
    ASSERT_EQ(set, set_expected);

    // Strncpy: no padding, and no terminator when n is reached first.
    Buffer copied = Terminated(u"", 15);
    Buffer copied_expected = copied;
    std::copy_n(ub.begin(), std::min<size_t>(n, ub.size()), copied_expected.begin());
    secure ? SMUCS2Strncpy_s(copied.data(), 1, ub.data(), n)
           : SMUCS2Strncpy(copied.data(), ub.data(), n);
    ASSERT_EQ(copied, copied_expected);

    Buffer appended = Terminated(a, 8);
    const std::u16string piece = n == 0 ? u"" : b.substr(0, n);
    ASSERT_EQ(secure ? SMUCS2Strncat_s(appended.data(), 1, ub.data(), n)
                     : SMUCS2Strncat(appended.data(), ub.data(), n),
              appended.data());
    ASSERT_EQ(appended, Terminated(a + piece, 8 - piece.size()));

    // Strtok splits a at the units of b.
    std::vector<std::u16string> tokens;
    std::vector<std::u16string> expected_tokens;
    for (uint16_t *token = SMUCS2Strtok(ua.data(), ub.data()); token != nullptr;
         token = SMUCS2Strtok(nullptr, ub.data())) {
      tokens.push_back(Text(token));
    }
    for (size_t at = a.find_first_not_of(b); at < a.size(); at = a.find_first_not_of(b, at)) {
      const size_t end = std::min(a.find_first_of(b, at), a.size());
      expected_tokens.push_back(a.substr(at, end - at));
      at = end;
    }
    ASSERT_EQ(tokens, expected_tokens);
  }
}

TEST(Ucs2Strings, compare_gives_the_first_difference_modulo_65536) {
  EXPECT_EQ(SMUCS2Strcmp(Terminated(u"A").data(), Terminated(u"B").data()), 65535u);
  EXPECT_EQ(SMUCS2Strcmp(Terminated(u"B").data(), Terminated(u"A").data()), 1u);
  EXPECT_EQ(SMUCS2Strcmp(Terminated(u"").data(), Terminated(u"\xFFFF").data()), 1u);
}

TEST(Ucs2Strings, length_never_reads_past_the_page_holding_the_terminator) {
  const long page = sysconf(_SC_PAGESIZE);
  void *pages = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(pages, MAP_FAILED);
  ASSERT_EQ(mprotect(static_cast<char *>(pages) + page, page, PROT_NONE), 0);
  auto *end = reinterpret_cast<uint16_t *>(static_cast<char *>(pages) + page);
  for (uint32_t length = 0; length < 40; ++length) {
    uint16_t *s = end - length - 1;
    std::fill(s, end - 1, u'x');
    end[-1] = 0;
    EXPECT_EQ(SMUCS2Strlen(s), length);
    uint32_t size = 0;
    EXPECT_EQ(SMUCS2StrToUTF8Str(nullptr, &size, s), SM_STATUS_SUCCESS);
    EXPECT_EQ(size, length + 1);
    char *text = static_cast<char *>(pages) + page - length - 1;
    std::memset(text, 'y', length);
    text[length] = 0;
    EXPECT_EQ(SMUTF8StrToUCS2Str(nullptr, &size, text), SM_STATUS_SUCCESS);
    EXPECT_EQ(size, 2 * length + 2);
  }
  munmap(pages, 2 * page);
}

TEST(Ucs2Tokenizer, one_saved_position_serves_the_whole_process) {
  const Buffer delimiters = Terminated(u" ,");
  Buffer first = Terminated(u"  a,b c");
  Buffer second = Terminated(u"p q");
  Buffer blanks = Terminated(u" ,, ");
  uint16_t *context = nullptr;
  EXPECT_EQ(SMUCS2Strtok(first.data(), delimiters.data()), &first[2]);
  EXPECT_EQ(SMUCS2Strtok_s(nullptr, delimiters.data(), &context), &first[4]);  // shared
  // Starting another string abandons the first; one of only delimiters clears
  // the saved position.
  EXPECT_EQ(SMUCS2Strtok_s(second.data(), delimiters.data(), &context), &second[0]);
  EXPECT_EQ(SMUCS2Strtok(blanks.data(), delimiters.data()), nullptr);
  EXPECT_EQ(SMUCS2Strtok(nullptr, delimiters.data()), nullptr);
  EXPECT_EQ(context, nullptr);
  EXPECT_EQ(first, (Buffer{' ', ' ', 'a', 0, 'b', 0, 'c', 0}));
  EXPECT_EQ(second, (Buffer{'p', 0, 'q', 0}));
}

// Every unit once, so the work buffer grows far past its first capacity.
TEST(Ucs2Escape, renders_every_unit_as_seven_bit_text) {
  Buffer in;
  std::string expected;
  for (uint32_t unit = 1; unit <= 0xFFFF; ++unit) {
    in.push_back(static_cast<uint16_t>(unit));
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, unit >= 32 && unit <= 127 ? "%c" : "\\u%04x", unit);
    const size_t named = std::u16string_view(u"\n\r\t\\").find(static_cast<char16_t>(unit));
    expected += named == std::u16string_view::npos ? escaped : std::string{'\\', "nrt\\"[named]};
  }
  in.push_back(0);
  expected.push_back('\0');
  uint32_t size = 0;
  ASSERT_EQ(SMUCS2ToEscape(nullptr, &size, in.data()), SM_STATUS_BUFFER_TOO_SMALL);
  ASSERT_EQ(size, expected.size());
  std::string out(size, '#');
  ASSERT_EQ(SMUCS2ToEscape(out.data(), &size, in.data()), SM_STATUS_SUCCESS);
  const auto differ = std::mismatch(out.begin(), out.end(), expected.begin()).first;
  EXPECT_EQ(differ - out.begin(), size);  // the offset of the first difference
}

TEST(Ucs2Escape, sizes_and_statuses) {
  const Buffer in = Terminated(u"A\n\xE9");  // "A\n\u00e9": 9 bytes and the terminator
  char out[16] = {};
  uint32_t size = 9;
  EXPECT_EQ(SMUCS2ToEscape(out, &size, in.data()), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 10u);  // the size needed, written even on failure
  EXPECT_STREQ(out, "");
  EXPECT_EQ(SMUCS2ToEscape(out, &size, in.data()), SM_STATUS_SUCCESS);
  EXPECT_STREQ(out, "A\\n\\u00e9");
  size = 0;  // a size is checked even without a buffer; neither only validates
  EXPECT_EQ(SMUCS2ToEscape(nullptr, &size, in.data()), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(SMUCS2ToEscape(nullptr, nullptr, in.data()), SM_STATUS_SUCCESS);
  std::fill_n(out, sizeof out, '#');
  EXPECT_EQ(SMUCS2ToEscape(out, nullptr, in.data()), SM_STATUS_SUCCESS);
  EXPECT_STREQ(out, "A\\n\\u00e9");
  EXPECT_EQ(SMUCS2ToEscape(out, &size, nullptr), SM_STATUS_INVALID_ARGS);

  Buffer many(3000, 0xE9);  // 18000 bytes escaped: the work buffer must grow
  many.push_back(0);
  size = 0;
  for (int budget : {0, 1}) {  // no work buffer; one that cannot grow
    kx::base::testing::AllocationBudget heap(budget);
    EXPECT_EQ(SMUCS2ToEscape(nullptr, &size, many.data()), SM_STATUS_ERROR);
  }
  EXPECT_EQ(size, 0u);
}

}  // namespace
