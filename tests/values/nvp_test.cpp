// Name-value parameters: what a parameter is, the name matching rule (cases
// and a model on random arrays), typed values and enumeration tables.
#include <gtest/gtest.h>

#include <cctype>
#include <random>
#include <string>
#include <vector>

#include "kxsupt/base.h"
#include "kxsupt/values.h"

namespace {

// An argv-like array over owned strings.
class Params {
 public:
  Params(std::initializer_list<const char *> strings) {
    for (const char *s : strings) storage_.emplace_back(s);
    Rebuild();
  }
  explicit Params(std::vector<std::string> strings) : storage_(std::move(strings)) { Rebuild(); }
  char **argv() { return pointers_.data(); }
  int32_t count() const { return static_cast<int32_t>(pointers_.size()); }

 private:
  void Rebuild() {
    for (std::string &s : storage_) pointers_.push_back(s.data());
  }
  std::vector<std::string> storage_;
  std::vector<char *> pointers_;
};

TEST(Nvp, a_parameter_has_a_name_before_its_first_equals_sign) {
  EXPECT_EQ(SMIsValidParam("=x"), 0);
  EXPECT_EQ(SMIsValidParam("="), 0);
  EXPECT_EQ(SMIsValidParam("a="), 1);
  EXPECT_EQ(SMIsValidParam("a=b=c"), 1);
  EXPECT_EQ(SMIsValidParam("abc"), 0);
  EXPECT_EQ(SMIsValidParam(""), 0);
  EXPECT_EQ(SMIsValidParam(nullptr), 0);
}

TEST(Nvp, name_and_value_split_at_the_first_equals_sign) {
  char param[] = "key=va=lue";
  EXPECT_STREQ(SMNVPGetUTF8ParamValue(param), "va=lue");
  EXPECT_EQ(SMNVPGetUTF8ParamValue(param), param + 4);
  EXPECT_EQ(SMNVPGetUTF8ParamName(param), param);
  EXPECT_STREQ(param, "key");
  EXPECT_STREQ(param + 4, "va=lue");
  char empty_value[] = "a=";
  EXPECT_STREQ(SMNVPGetUTF8ParamValue(empty_value), "");
  char nameless[] = "=x";
  EXPECT_EQ(SMNVPGetUTF8ParamValue(nameless), nullptr);
  EXPECT_EQ(SMNVPGetUTF8ParamName(nameless), nullptr);
  EXPECT_STREQ(nameless, "=x") << "nothing is written into an invalid parameter";
  char no_equals[] = "abc";
  EXPECT_EQ(SMNVPGetUTF8ParamName(no_equals), nullptr);
  EXPECT_EQ(SMNVPGetUTF8ParamValue(nullptr), nullptr);
  EXPECT_EQ(SMNVPGetUTF8ParamName(nullptr), nullptr);
}

TEST(Nvp, case_flag_1_folds_case_and_the_first_match_wins) {
  Params params{"mode=1", "Mode=2"};
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(params.count(), params.argv(), "Mode", 0), 1);
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(params.count(), params.argv(), "Mode", 1), 0);
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(params.count(), params.argv(), "Mode", 2), 1);
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(params.count(), params.argv(), "MODE", 0), -1);
  EXPECT_STREQ(SMNVPGetUTF8ParamValueByUTF8Name(params.count(), params.argv(), "MODE", 1), "1");
}

TEST(Nvp, given_name_matches_whole_names_or_continues_with_equals) {
  Params params{"alpha=1", "al=2", "=x", "noeq", "beta=3", "x==y"};
  const std::pair<const char *, int32_t> rows[] = {
      {"al", 1}, {"alpha", 0}, {"alp", -1},   {"alpha=zzz", 0}, {"al=", 1},
      {"", -1},  {"beta", 4},  {"=x", -1},    {"noeq", -1},     {"betax", -1},
      {"x", 5},  {"x=", 5},    {"alphab", -1}};
  for (const auto &[name, index] : rows) {
    EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(params.count(), params.argv(), name, 0), index) << name;
  }
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(params.count(), params.argv(), nullptr, 0), -1);
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(params.count(), nullptr, "al", 0), -1);
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(1, params.argv(), "beta", 0), -1);
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(-3, params.argv(), "alpha", 0), -1);
  EXPECT_STREQ(SMNVPGetUTF8ParamValueByUTF8Name(params.count(), params.argv(), "x", 0), "=y");
  EXPECT_EQ(SMNVPGetUTF8ParamValueByUTF8Name(params.count(), params.argv(), "gamma", 0), nullptr);
  // Null entries in the array are not parameters either.
  char *with_null[] = {nullptr, params.argv()[4]};
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(2, with_null, "beta", 0), 1);
}

// Model: a parameter's name is the text before its first "="; the given
// name's comparable part is the text before its own first "=".
int32_t ModelIndex(const std::vector<std::string> &params, const std::string &name, bool fold) {
  auto lower = [&](std::string s) {
    if (fold) {
      for (char &c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return s;
  };
  const std::string wanted = lower(name.substr(0, name.find('=')));
  for (size_t i = 0; i < params.size(); ++i) {
    const size_t equals = params[i].find('=');
    if (equals == std::string::npos || equals == 0) continue;
    if (lower(params[i].substr(0, equals)) == wanted) return static_cast<int32_t>(i);
  }
  return -1;
}

TEST(Nvp, random_arrays_match_the_model) {
  std::mt19937 rng(17);
  const char alphabet[] = "aAbB=";
  auto word = [&](int max) {
    std::string s;
    const int length = static_cast<int>(rng() % (max + 1));
    for (int i = 0; i < length; ++i) s += alphabet[rng() % 5];
    return s;
  };
  for (int round = 0; round < 5000; ++round) {
    std::vector<std::string> strings(rng() % 6);
    for (std::string &s : strings) s = word(5);
    Params params(strings);
    const std::string name = word(4);
    for (uint32_t flag : {0u, 1u}) {
      ASSERT_EQ(SMNVPGetParamIndexByUTF8Name(params.count(), params.argv(), name.c_str(), flag),
                ModelIndex(strings, name, flag == 1))
          << name;
    }
  }
}

TEST(Nvp, typed_values_go_through_the_translation) {
  Params params{"count=42", "big=300", "flag=TRUE", "bad=x1"};
  int32_t value = 0;
  uint32_t size = sizeof value;
  EXPECT_EQ(
      SMNVPUTF8ToTypeValue(params.count(), params.argv(), "count", 0, &value, &size, SM_XLT_INT32),
      SM_STATUS_SUCCESS);
  EXPECT_EQ(value, 42);
  EXPECT_EQ(size, 4u);
  int8_t small = 0;
  size = 1;
  EXPECT_EQ(
      SMNVPUTF8ToTypeValue(params.count(), params.argv(), "big", 0, &small, &size, SM_XLT_INT8),
      SM_STATUS_OVERFLOW);
  uint16_t flag = 0;
  size = 2;
  EXPECT_EQ(
      SMNVPUTF8ToTypeValue(params.count(), params.argv(), "flag", 0, &flag, &size, SM_XLT_BOOLEAN),
      SM_STATUS_SUCCESS);
  EXPECT_EQ(flag, 1);
  size = 4;
  EXPECT_EQ(
      SMNVPUTF8ToTypeValue(params.count(), params.argv(), "bad", 0, &value, &size, SM_XLT_INT32),
      SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(
      SMNVPUTF8ToTypeValue(params.count(), params.argv(), "absent", 0, &value, &size, SM_XLT_INT32),
      SM_STATUS_NOT_AVAILABLE);
  EXPECT_EQ(SMNVPUTF8ToTypeValue(params.count(), nullptr, "count", 0, &value, &size, 3),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMNVPUTF8ToTypeValue(params.count(), params.argv(), "count", 0, nullptr, &size, 3),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMNVPUTF8ToTypeValue(params.count(), params.argv(), "count", 0, &value, nullptr, 3),
            SM_STATUS_INVALID_PARAMETER);
}

TEST(Nvp, enumeration_of_a_single_value) {
  const SMEnum32Entry table[] = {{"?", 7, 0}, {"on", 1, 0}, {"off", 0, 0}, {nullptr, 9, 0}};
  Params params{"a=On", "b=maybe", "c=", "d=on|off", "e= on"};
  auto lookup = [&](const char *name, uint32_t multiple = 0) {
    return SMNVPGetEnums32Value(params.count(), params.argv(), name, 0, table, 4, multiple);
  };
  EXPECT_EQ(lookup("a"), 1u);
  EXPECT_EQ(lookup("b"), 7u);
  EXPECT_EQ(lookup("absent"), 1u);
  EXPECT_EQ(lookup("c"), 7u);
  EXPECT_EQ(lookup("d"), 7u) << "the whole value is compared";
  EXPECT_EQ(lookup("e"), 7u) << "a single value is not trimmed";
  EXPECT_EQ(lookup("a", 2), 1u) << "only the flag 1 makes a list";
  // Row 0 is never matched.
  const SMEnum32Entry question[] = {{"?", 7, 0}, {"on", 1, 0}};
  Params asks{"a=?"};
  EXPECT_EQ(SMNVPGetEnums32Value(asks.count(), asks.argv(), "a", 0, question, 2, 0), 7u);
}

TEST(Nvp, enumeration_of_a_list_ors_the_matched_rows) {
  const SMEnum32Entry table[] = {{"?", 0, 0}, {"a", 1, 0}, {"b", 2, 0}, {"c", 4, 0}};
  Params params{"v1=a|C", "v2=b,c", "v3=x", "v4= a , b ", "v5=a|b,c", "v6=", "v7=B", "v8=||,"};
  auto lookup = [&](const char *name) {
    return SMNVPGetEnums32Value(params.count(), params.argv(), name, 0, table, 4, 1);
  };
  EXPECT_EQ(lookup("v1"), 5u);
  EXPECT_EQ(lookup("v2"), 6u);
  EXPECT_EQ(lookup("v3"), 0u);
  EXPECT_EQ(lookup("v4"), 3u);
  EXPECT_EQ(lookup("v5"), 1u) << "split at | only: \"b,c\" is one item";
  EXPECT_EQ(lookup("v6"), 0u);
  EXPECT_EQ(lookup("v7"), 2u);
  EXPECT_EQ(lookup("v8"), 0u);
  EXPECT_EQ(lookup("absent"), 1u);
}

TEST(Nvp, enumeration_signals_bad_arguments) {
  const SMEnum32Entry table[] = {{"?", 0, 0}, {"a", 1, 0}};
  Params params{"v=a"};
  EXPECT_EQ(SMNVPGetEnums32Value(params.count(), nullptr, "v", 0, table, 2, 0), 0x80000000u);
  EXPECT_EQ(SMNVPGetEnums32Value(params.count(), params.argv(), nullptr, 0, table, 2, 0),
            0x80000000u);
  EXPECT_EQ(SMNVPGetEnums32Value(params.count(), params.argv(), "v", 0, nullptr, 2, 0),
            0x80000000u);
  EXPECT_EQ(SMNVPGetEnums32Value(params.count(), params.argv(), "v", 0, table, 1, 0), 0x80000000u);
  EXPECT_EQ(SMNVPGetEnums32Value(params.count(), params.argv(), "v", 0, table, 0, 1), 0x80000000u);
  EXPECT_EQ(SMNVPGetEnums32Value(params.count(), params.argv(), "v", 0, table, 2, 1), 1u);
}

TEST(Nvp, enumeration_rows_are_sixteen_bytes) {
  static_assert(sizeof(SMEnum32Entry) == 16);
  static_assert(offsetof(SMEnum32Entry, value) == 8);
  static_assert(offsetof(SMEnum32Entry, reserved) == 12);
}

}  // namespace
