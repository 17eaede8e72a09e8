// Separated-value lists and name-value parameters: lists and name matching
// against models on random texts and arrays, what a parameter is, typed values
// through the translation and enumeration tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <random>
#include <string>
#include <vector>

#include "base/memory.h"
#include "kxsupt/values.h"

namespace {

// Split at `from` (a 0 never occurs: the whole text is one item), trim the
// four blanks, drop empty items, follow each item by `to`.
std::string Model(const std::string &text, char from, char to, uint32_t *count) {
  std::string result;
  *count = 0;
  for (size_t start = 0; start <= text.size();) {
    const size_t stop = std::min(text.find(from, start), text.size());
    const std::string item = text.substr(start, stop - start);
    const size_t first = item.find_first_not_of(" \t\r\n");
    if (first != std::string::npos) {
      result += item.substr(first, item.find_last_not_of(" \t\r\n") - first + 1) + to;
      ++*count;
    }
    start = stop + 1;
  }
  return result;
}

TEST(SeparatedValues, random_texts_match_the_model) {
  std::mt19937 rng(2024);
  const char alphabet[] = "ab ,;|\t\r\n\xC3\xA9";
  for (int round = 0; round < 5000; ++round) {
    std::string text(rng() % 30, ' ');
    for (char &c : text) c = alphabet[rng() % (sizeof alphabet - 1)];
    const char from = ",;|"[rng() % 4];  // the fourth is 0
    const char to = ",;|#"[rng() % 5];
    uint32_t expected_count;
    const std::string expected = Model(text, from, to, &expected_count);
    uint32_t count = 0xDEAD, size = 0xDEAD;
    char *result = SMUTF8ConvertXSVToYSV(text.c_str(), from, to, &count, &size);
    ASSERT_NE(result, nullptr);
    ASSERT_EQ(size, expected.size() + 1) << text;
    ASSERT_EQ(std::string(result, size), expected + '\0') << text;
    ASSERT_EQ(count, expected_count);
    kx::base::FreeMem(result);
  }
}

TEST(SeparatedValues, null_text_and_optional_outs) {
  uint32_t count = 5, size = 5;
  EXPECT_EQ(SMUTF8ConvertXSVToYSV(nullptr, ',', ';', &count, &size), nullptr);
  EXPECT_EQ(count + size, 0u);
  char *result = SMUTF8ConvertXSVToYSV("a, b,,c", ',', ';', nullptr, nullptr);
  EXPECT_STREQ(result, "a;b;c;");
  kx::base::FreeMem(result);
}

// An argv-like array over owned strings.
struct Params {
  explicit Params(std::vector<std::string> strings) : storage(std::move(strings)) {
    for (std::string &s : storage) pointers.push_back(s.data());
  }
  char **argv() { return pointers.data(); }
  int32_t count() const { return static_cast<int32_t>(pointers.size()); }
  std::vector<std::string> storage;
  std::vector<char *> pointers;
};

TEST(Parameters, a_parameter_has_a_name_before_its_first_equals_sign) {
  const std::pair<const char *, int> rows[] = {{"key=va=lue", 4}, {"a=", 2},   {"=x", -1},
                                               {"=", -1},         {"abc", -1}, {"", -1}};
  for (const auto &[text, value_at] : rows) {
    std::string param = text;
    EXPECT_EQ(SMIsValidParam(param.c_str()), value_at < 0 ? 0 : 1) << text;
    EXPECT_EQ(SMNVPGetUTF8ParamValue(param.data()), value_at < 0 ? nullptr : &param[value_at]);
    EXPECT_EQ(SMNVPGetUTF8ParamName(param.data()), value_at < 0 ? nullptr : param.data());
    // The name is cut at its "="; nothing is written into a non-parameter.
    EXPECT_EQ(param, value_at < 0 ? text : std::string(text).replace(value_at - 1, 1, 1, '\0'));
  }
  EXPECT_EQ(SMIsValidParam(nullptr), 0);
  EXPECT_EQ(SMNVPGetUTF8ParamValue(nullptr), nullptr);
  EXPECT_EQ(SMNVPGetUTF8ParamName(nullptr), nullptr);
}

// Model: the first parameter with a name whose name equals the given name's
// text before its own first "=" (after tolower with case flag 1 only).
int32_t ModelIndex(const std::vector<std::string> &params, const std::string &name, bool fold) {
  auto key = [&](const std::string &s) {
    std::string k = s.substr(0, s.find('='));
    for (char &c : k) c = fold ? static_cast<char>(std::tolower(static_cast<unsigned char>(c))) : c;
    return k;
  };
  for (size_t i = 0; i < params.size(); ++i) {
    const size_t equals = params[i].find('=');
    if (equals != std::string::npos && equals != 0 && key(params[i]) == key(name)) {
      return static_cast<int32_t>(i);
    }
  }
  return -1;
}

TEST(Parameters, random_arrays_match_the_model) {
  std::mt19937 rng(17);
  auto word = [&](int max) {
    std::string s(rng() % (max + 1), ' ');
    for (char &c : s) c = "aAbB="[rng() % 5];
    return s;
  };
  for (int round = 0; round < 5000; ++round) {
    std::vector<std::string> strings(rng() % 6);
    for (std::string &s : strings) s = word(5);
    Params params(strings);
    const std::string name = word(4);
    for (uint32_t flag : {0u, 1u, 2u}) {
      const int32_t index = ModelIndex(strings, name, flag == 1);
      ASSERT_EQ(SMNVPGetParamIndexByUTF8Name(params.count(), params.argv(), name.c_str(), flag),
                index)
          << name;
      ASSERT_EQ(SMNVPGetUTF8ParamValueByUTF8Name(params.count(), params.argv(), name.c_str(), flag),
                index < 0 ? nullptr : params.argv()[index] + strings[index].find('=') + 1);
    }
  }
  Params params({"mode=1", "Mode=2"});
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(2, params.argv(), "Mode", 0), 1);
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(2, params.argv(), "Mode", 1), 0);
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(1, params.argv(), "Mode", 0), -1) << "count bounds";
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(2, params.argv(), nullptr, 0), -1);
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(2, nullptr, "mode", 0), -1);
  char *with_null[] = {nullptr, params.argv()[1]};
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(2, with_null, "Mode", 0), 1);
}

TEST(Parameters, typed_values_go_through_the_translation) {
  Params params({"count=42", "big=300"});
  int32_t value = 0;
  uint32_t size = 4;
  EXPECT_EQ(SMNVPUTF8ToTypeValue(2, params.argv(), "count", 0, &value, &size, 3),
            SM_STATUS_SUCCESS);
  EXPECT_EQ(value, 42);
  EXPECT_EQ(SMNVPUTF8ToTypeValue(2, params.argv(), "big", 0, &value, &size, 1), SM_STATUS_OVERFLOW);
  EXPECT_EQ(SMNVPUTF8ToTypeValue(2, params.argv(), "absent", 0, &value, &size, 3),
            SM_STATUS_NOT_AVAILABLE);
  EXPECT_EQ(SMNVPUTF8ToTypeValue(2, nullptr, "count", 0, &value, &size, 3),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMNVPUTF8ToTypeValue(2, params.argv(), "count", 0, nullptr, &size, 3),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(value, 42);
}

TEST(Parameters, enumeration_tables_for_single_values_and_lists) {
  static_assert(sizeof(SMEnum32Entry) == 16 && offsetof(SMEnum32Entry, value) == 8);
  const SMEnum32Entry table[] = {
      {"?", 8, 0}, {"a", 1, 0}, {"b", 2, 0}, {"c", 4, 0}, {nullptr, 16, 0}};
  Params params({"v=A", "v=maybe", "v=", "v=a|b", "v= a", "v=?", "v=a|C", "v=b,c", "v=x",
                 "v= a , b ", "v=a|b,c", "v=||,"});
  // Per parameter: the result as a single value (flag 0) and as a list (1);
  // row 0 is never matched, and an absent parameter gives row 1's value.
  const std::pair<uint32_t, uint32_t> expected[] = {{1, 1}, {8, 0}, {8, 0}, {8, 3}, {8, 1}, {8, 0},
                                                    {8, 5}, {8, 6}, {8, 0}, {8, 3}, {8, 1}, {8, 0}};
  for (int32_t i = 0; i < params.count(); ++i) {
    char **one = params.argv() + i;
    EXPECT_EQ(SMNVPGetEnums32Value(1, one, "v", 0, table, 5, 0), expected[i].first) << *one;
    EXPECT_EQ(SMNVPGetEnums32Value(1, one, "v", 0, table, 5, 2), expected[i].first) << *one;
    EXPECT_EQ(SMNVPGetEnums32Value(1, one, "v", 0, table, 5, 1), expected[i].second) << *one;
    EXPECT_EQ(SMNVPGetEnums32Value(1, one, "w", 0, table, 5, 1), 1u);
  }
  EXPECT_EQ(SMNVPGetEnums32Value(1, nullptr, "v", 0, table, 2, 0), 0x80000000u);
  EXPECT_EQ(SMNVPGetEnums32Value(1, params.argv(), nullptr, 0, table, 2, 0), 0x80000000u);
  EXPECT_EQ(SMNVPGetEnums32Value(1, params.argv(), "v", 0, nullptr, 2, 0), 0x80000000u);
  EXPECT_EQ(SMNVPGetEnums32Value(1, params.argv(), "v", 0, table, 1, 1), 0x80000000u);
  EXPECT_EQ(SMNVPGetEnums32Value(1, params.argv(), "v", 0, table, 2, 1), 1u);
}

}  // namespace
