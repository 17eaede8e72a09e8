// UCS-2 string routines against std::u16string where the two agree, and the
// documented differences one by one: the ignored sizes of the _s forms, the
// modulo compare, the process-wide tokenizer, and escaping to 7-bit UTF-8.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kxsupt/text.h"
#include "text/sstring.h"

namespace {

using Buffer = std::vector<uint16_t>;

// A terminated UCS-2 copy of a model string, with `spare` sentinel units after.
Buffer Terminated(const std::u16string &text, size_t spare = 0) {
  Buffer units(text.begin(), text.end());
  units.push_back(0);
  units.insert(units.end(), spare, 0xAAAA);
  return units;
}

std::u16string Model(const uint16_t *s) {
  std::u16string text;
  while (*s != 0) text.push_back(static_cast<char16_t>(*s++));
  return text;
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

    ASSERT_EQ(SMUCS2Strlen(ua.data()), a.size());

    Buffer dst = Terminated(u"", a.size() + b.size() + 1);
    ASSERT_EQ(SMUCS2Strcpy(dst.data(), ua.data()), dst.data());
    ASSERT_EQ(Model(dst.data()), a);
    ASSERT_EQ(SMUCS2Strcat(dst.data(), ub.data()), dst.data());
    ASSERT_EQ(Model(dst.data()), a + b);

    const uint16_t unit = b.empty() ? 0 : b[0];
    const size_t found_unit = unit == 0 ? a.size() : a.find(static_cast<char16_t>(unit));
    uint16_t *chr = SMUCS2Strchr(ua.data(), unit);
    ASSERT_EQ(chr, found_unit == std::u16string::npos ? nullptr : ua.data() + found_unit);

    const size_t found = a.find(b);
    uint16_t *str = SMUCS2Strstr(ua.data(), ub.data());
    ASSERT_EQ(str, found == std::u16string::npos ? nullptr : ua.data() + found) << round;

    const size_t span = a.find_first_not_of(b);
    ASSERT_EQ(SMUCS2Strspn(ua.data(), ub.data()), span == std::u16string::npos ? a.size() : span);
    const size_t cspan = a.find_first_of(b);
    ASSERT_EQ(SMUCS2Strcspn(ua.data(), ub.data()),
              cspan == std::u16string::npos ? a.size() : cspan);

    // Equality is all that the compare's value says; where they differ it is
    // the first difference modulo 65536.
    const uint32_t cmp = SMUCS2Strcmp(ua.data(), ub.data());
    ASSERT_EQ(cmp == 0, a == b);
    if (a != b) {
      const auto [pa, pb] = std::mismatch(ua.begin(), ua.end(), ub.begin(), ub.end());
      ASSERT_EQ(cmp, (uint32_t{*pa} - uint32_t{*pb}) & 0xFFFF);
    }

    Buffer reversed = ua;
    ASSERT_EQ(SMUCS2Strrev(reversed.data()), reversed.data());
    ASSERT_EQ(Model(reversed.data()), std::u16string(a.rbegin(), a.rend()));

    Buffer filled = ua;
    SMUCS2Strset(filled.data(), u'z');
    ASSERT_EQ(Model(filled.data()), std::u16string(a.size(), u'z'));

    // strncpy / strncat semantics, without the padding of the C form.
    const uint32_t n = random() % 8;
    Buffer copied = Terminated(u"", 16);
    SMUCS2Strncpy(copied.data(), ub.data(), n);
    const size_t copied_units = std::min<size_t>(n, b.size() + 1);
    ASSERT_TRUE(std::equal(copied.begin(), copied.begin() + copied_units, ub.begin()));
    ASSERT_TRUE(std::all_of(copied.begin() + std::max<size_t>(copied_units, 1), copied.end(),
                            [](uint16_t u) { return u == 0xAAAA; }));
    Buffer appended = Terminated(a, 16);
    SMUCS2Strncat(appended.data(), ub.data(), n);
    ASSERT_EQ(Model(appended.data()), n == 0 ? a : a + b.substr(0, n));
  }
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

TEST(Ucs2Strings, secure_forms_ignore_their_size) {
  // The size argument says 2 units; all 6 are written regardless.
  Buffer dst(12, 0xAAAA);
  const Buffer src = Terminated(u"hello");
  EXPECT_EQ(SMUCS2Strcpy_s(dst.data(), 2, src.data()), dst.data());
  EXPECT_EQ(Model(dst.data()), u"hello");
  EXPECT_EQ(SMUCS2Strcat_s(dst.data(), 2, src.data()), dst.data());
  EXPECT_EQ(Model(dst.data()), u"hellohello");

  Buffer a(8, 0xAAAA);
  Buffer b(8, 0xAAAA);
  SMUCS2Strncpy(a.data(), src.data(), 4);
  SMUCS2Strncpy_s(b.data(), 1, src.data(), 4);
  EXPECT_EQ(a, b);
  a = Terminated(u"ab", 8);
  b = a;
  EXPECT_EQ(SMUCS2Strncat(a.data(), src.data(), 3), a.data());
  EXPECT_EQ(SMUCS2Strncat_s(b.data(), 0, src.data(), 3), b.data());
  EXPECT_EQ(a, b);
  EXPECT_EQ(Model(a.data()), u"abhel");

  a = Terminated(u"abc", 4);
  b = a;
  SMUCS2Strset(a.data(), u'q');
  SMUCS2Strset_s(b.data(), 1, u'q');
  EXPECT_EQ(a, b);
  SMUCS2Strnset(a.data(), u'r', 5);
  SMUCS2Strnset_s(b.data(), 1, u'r', 5);
  EXPECT_EQ(a, b);
}

TEST(Ucs2Strings, documented_edge_cases) {
  // Strncpy with n equal to the source length leaves no terminator, and
  // never pads.
  const Buffer src = Terminated(u"xyz");
  Buffer dst(6, 0xAAAA);
  SMUCS2Strncpy(dst.data(), src.data(), 3);
  EXPECT_EQ(dst, (Buffer{u'x', u'y', u'z', 0xAAAA, 0xAAAA, 0xAAAA}));
  SMUCS2Strncpy(dst.data(), src.data(), 6);
  EXPECT_EQ(dst, (Buffer{u'x', u'y', u'z', 0, 0xAAAA, 0xAAAA}));

  // Strncat with n = 2 appends two units and a terminator; n = 0 does nothing.
  Buffer cat = Terminated(u"", 5);
  EXPECT_EQ(SMUCS2Strncat(cat.data(), src.data(), 2), cat.data());
  EXPECT_EQ(cat, (Buffer{u'x', u'y', 0, 0xAAAA, 0xAAAA, 0xAAAA}));
  Buffer untouched(3, 0xAAAA);
  untouched[0] = 0;
  SMUCS2Strncat(untouched.data(), src.data(), 0);
  EXPECT_EQ(untouched, (Buffer{0, 0xAAAA, 0xAAAA}));

  // Strnset sets exactly n units, through the terminator and beyond it.
  Buffer set = Terminated(u"ab", 3);
  SMUCS2Strnset(set.data(), u'k', 5);
  EXPECT_EQ(set, (Buffer{u'k', u'k', u'k', u'k', u'k', 0xAAAA}));

  // Compare: only equality is meaningful.
  const Buffer a = Terminated(u"A");
  const Buffer b = Terminated(u"B");
  EXPECT_EQ(SMUCS2Strcmp(a.data(), b.data()), 65535u);
  EXPECT_EQ(SMUCS2Strcmp(b.data(), a.data()), 1u);
  EXPECT_EQ(SMUCS2Strcmp(a.data(), a.data()), 0u);
  const Buffer prefix = Terminated(u"AB");
  EXPECT_EQ(SMUCS2Strcmp(a.data(), prefix.data()), 65536u - u'B');
  const Buffer high = Terminated(u"\xFFFF");
  const Buffer empty = Terminated(u"");
  EXPECT_EQ(SMUCS2Strcmp(high.data(), empty.data()), 0xFFFFu);
  EXPECT_EQ(SMUCS2Strcmp(empty.data(), high.data()), 1u);

  // Search: an empty needle finds the haystack; a 0 unit finds the terminator.
  Buffer hay = Terminated(u"abcabc");
  EXPECT_EQ(SMUCS2Strstr(hay.data(), empty.data()), hay.data());
  EXPECT_EQ(SMUCS2Strstr(empty.data(), empty.data()), empty.data());
  EXPECT_EQ(SMUCS2Strstr(empty.data(), a.data()), nullptr);
  EXPECT_EQ(SMUCS2Strchr(hay.data(), 0), hay.data() + 6);
  EXPECT_EQ(SMUCS2Strchr(hay.data(), u'c'), hay.data() + 2);
  EXPECT_EQ(SMUCS2Strchr(hay.data(), u'd'), nullptr);

  // Reversal keeps the terminator where it is.
  Buffer reversed = Terminated(u"\xD83D\xDE00x", 1);
  SMUCS2Strrev(reversed.data());
  EXPECT_EQ(reversed, (Buffer{u'x', 0xDE00, 0xD83D, 0, 0xAAAA}));
}

TEST(Ucs2Tokenizer, walks_tokens_with_one_saved_position_for_the_process) {
  Buffer text = Terminated(u"  a,b");
  const Buffer delimiters = Terminated(u" ,");
  uint16_t *token = SMUCS2Strtok(text.data(), delimiters.data());
  ASSERT_EQ(token, text.data() + 2);
  EXPECT_EQ(Model(token), u"a");
  token = SMUCS2Strtok(nullptr, delimiters.data());
  ASSERT_EQ(token, text.data() + 4);
  EXPECT_EQ(Model(token), u"b");
  EXPECT_EQ(SMUCS2Strtok(nullptr, delimiters.data()), nullptr);
  EXPECT_EQ(SMUCS2Strtok(nullptr, delimiters.data()), nullptr);

  // Only delimiters: null at once, and the saved position is cleared.
  Buffer blanks = Terminated(u" ,, ");
  EXPECT_EQ(SMUCS2Strtok(blanks.data(), delimiters.data()), nullptr);
  EXPECT_EQ(SMUCS2Strtok(nullptr, delimiters.data()), nullptr);

  // The _s form shares the saved position and ignores its context.
  Buffer first = Terminated(u"x y z");
  Buffer second = Terminated(u"p q");
  uint16_t *context = nullptr;
  EXPECT_EQ(Model(SMUCS2Strtok(first.data(), delimiters.data())), u"x");
  EXPECT_EQ(Model(SMUCS2Strtok_s(nullptr, delimiters.data(), &context)), u"y");
  EXPECT_EQ(context, nullptr);
  // Starting a second string abandons the first: they interfere by design.
  EXPECT_EQ(Model(SMUCS2Strtok_s(second.data(), delimiters.data(), &context)), u"p");
  EXPECT_EQ(Model(SMUCS2Strtok(nullptr, delimiters.data())), u"q");
  EXPECT_EQ(SMUCS2Strtok(nullptr, delimiters.data()), nullptr);
  EXPECT_EQ(Model(first.data() + 4), u"z");  // never reached
}

TEST(Ucs2Tokenizer, splits_like_a_model_tokenizer) {
  std::mt19937 random(4);
  const Buffer delimiters = Terminated(u" \xE9");
  for (int round = 0; round < 500; ++round) {
    const std::u16string text = RandomText(random, 30);
    std::vector<std::u16string> expected;
    for (size_t at = 0;;) {
      at = text.find_first_not_of(u" \xE9", at);
      if (at == std::u16string::npos) break;
      const size_t end = std::min(text.find_first_of(u" \xE9", at), text.size());
      expected.push_back(text.substr(at, end - at));
      at = end;
    }
    Buffer units = Terminated(text);
    std::vector<std::u16string> tokens;
    for (uint16_t *token = SMUCS2Strtok(units.data(), delimiters.data()); token != nullptr;
         token = SMUCS2Strtok(nullptr, delimiters.data())) {
      tokens.push_back(Model(token));
    }
    ASSERT_EQ(tokens, expected);
  }
}

std::string Escape(const Buffer &units, SMStatus *status) {
  uint32_t size = 0xFFFFFFFF;  // any size in that is large enough
  *status = SMUCS2ToEscape(nullptr, &size, units.data());
  if (*status != SM_STATUS_SUCCESS) return {};
  std::string out(size, '#');
  uint32_t exact = size;
  *status = SMUCS2ToEscape(out.data(), &exact, units.data());
  EXPECT_EQ(exact, size);
  EXPECT_EQ(out.back(), '\0');
  out.pop_back();
  return out;
}

TEST(Ucs2Escape, renders_seven_bit_text) {
  SMStatus status;
  EXPECT_EQ(Escape(Terminated(u"A\n\xE9"), &status), "A\\n\\u00e9");
  EXPECT_EQ(status, SM_STATUS_SUCCESS);
  EXPECT_EQ(Escape(Terminated(u"\r\t\\ ~\x7F\x1F\x80\xABCD\xFFFF\xD800"), &status),
            "\\r\\t\\\\ ~\x7F\\u001f\\u0080\\uabcd\\uffff\\ud800");
  EXPECT_EQ(Escape(Terminated(u""), &status), "");

  // Every unit on its own, against the C library's formatting.
  for (uint32_t unit = 1; unit <= 0xFFFF; ++unit) {
    char expected[8];
    if (unit == 10 || unit == 13 || unit == 9 || unit == 92) continue;
    if (unit >= 32 && unit <= 127) {
      std::snprintf(expected, sizeof expected, "%c", static_cast<char>(unit));
    } else {
      std::snprintf(expected, sizeof expected, "\\u%04x", unit);
    }
    ASSERT_EQ(Escape(Buffer{static_cast<uint16_t>(unit), 0}, &status), expected);
  }
}

TEST(Ucs2Escape, sizes_and_statuses) {
  const Buffer in = Terminated(u"A\n\xE9");
  char out[16];
  uint32_t size = 9;
  EXPECT_EQ(SMUCS2ToEscape(out, &size, in.data()), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 10u);  // the size needed, written even on failure
  size = 10;
  EXPECT_EQ(SMUCS2ToEscape(out, &size, in.data()), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, 10u);
  EXPECT_STREQ(out, "A\\n\\u00e9");
  // A size pointer is checked even without a buffer; neither only validates.
  size = 0;
  EXPECT_EQ(SMUCS2ToEscape(nullptr, &size, in.data()), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 10u);
  EXPECT_EQ(SMUCS2ToEscape(nullptr, nullptr, in.data()), SM_STATUS_SUCCESS);
  // Without a size pointer the text is copied as it is.
  std::memset(out, '#', sizeof out);
  EXPECT_EQ(SMUCS2ToEscape(out, nullptr, in.data()), SM_STATUS_SUCCESS);
  EXPECT_STREQ(out, "A\\n\\u00e9");
  EXPECT_EQ(SMUCS2ToEscape(out, &size, nullptr), SM_STATUS_INVALID_ARGS);
}

TEST(Ucs2Escape, long_text_grows_past_the_initial_work_buffer) {
  Buffer in;
  std::string expected;
  for (int i = 0; i < 5000; ++i) {
    in.push_back(i % 3 == 0 ? 0x4E00 + i : u'a' + i % 26);
    if (i % 3 == 0) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", 0x4E00 + i);
      expected += escaped;
    } else {
      expected += static_cast<char>('a' + i % 26);
    }
  }
  in.push_back(0);
  ASSERT_GT(expected.size(), kx::text::kEscapeWorkCapacity);
  SMStatus status;
  EXPECT_EQ(Escape(in, &status), expected);
  EXPECT_EQ(status, SM_STATUS_SUCCESS);
}

// A heap that refuses after a number of successful requests.
int g_heap_budget = 0;
void *BudgetAllocate(uint32_t size) {
  return g_heap_budget-- > 0 ? std::malloc(size) : nullptr;
}
void *BudgetResize(void *block, uint32_t size) {
  return g_heap_budget-- > 0 ? std::realloc(block, size) : nullptr;
}

TEST(Ucs2Escape, memory_failure_is_all_ones) {
  const kx::text::SsHeap previous = kx::text::SetSsHeapForTesting({BudgetAllocate, BudgetResize});
  const Buffer in(3000, 0xE9);  // 18000 bytes escaped: the work buffer must grow
  Buffer text = in;
  text.push_back(0);
  uint32_t size = 0;
  g_heap_budget = 0;
  EXPECT_EQ(SMUCS2ToEscape(nullptr, &size, text.data()), SM_STATUS_ERROR);
  g_heap_budget = 1;  // the work buffer, but no growth
  EXPECT_EQ(SMUCS2ToEscape(nullptr, &size, text.data()), SM_STATUS_ERROR);
  EXPECT_EQ(size, 0u);
  g_heap_budget = 100;
  size = 18001;
  EXPECT_EQ(SMUCS2ToEscape(nullptr, &size, text.data()), SM_STATUS_SUCCESS);
  kx::text::SetSsHeapForTesting(previous);
}

}  // namespace
