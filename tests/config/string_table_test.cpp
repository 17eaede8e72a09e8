// The process language and the localized string tables: LANG against the
// language table, the UTF-8 lookup with its US English fall-back and size
// protocol, the UCS-2 lookup in the product's table, and the OEM remapping
// with its once-per-process load.
#include <gtest/gtest.h>
#include <kxsupt.h>
#include <stdlib.h>

#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "base/memory.h"
#include "config/language.h"
#include "config/string_table.h"
#include "sandbox.h"

namespace {

namespace fs = std::filesystem;
using kxtest::WriteFile;
namespace config = kx::config;

// Sets LANG (unset for a null value) for the life of the object.
class ScopedLang {
 public:
  explicit ScopedLang(const char *value) {
    if (const char *old = getenv("LANG")) saved_ = old;
    value ? setenv("LANG", value, 1) : unsetenv("LANG");
  }
  ~ScopedLang() { saved_ ? setenv("LANG", saved_->c_str(), 1) : unsetenv("LANG"); }

 private:
  std::optional<std::string> saved_;
};

TEST(Language, lang_must_match_a_table_text_exactly) {
  const struct {
    const char *lang;
    uint32_t id;
  } cases[] = {
      {"en_US", 1033}, {"en_GB", 2057}, {"de", 1031},    {"es", 1034},          {"fr", 1036},
      {"ja", 1041},    {"ko", 2066},    {"pt_BR", 1046}, {"zh", 2052},          {"zh_TW", 1028},
      {"fr_FR", 1033}, {"FR", 1033},    {"pt_br", 1033}, {"en_US.UTF-8", 1033}, {"", 1033},
      {"C", 1033},     {"de ", 1033},   {nullptr, 1033},
  };
  for (const auto &c : cases) {
    ScopedLang lang(c.lang);
    EXPECT_EQ(SMGetLocalLanguageID(), c.id) << (c.lang ? c.lang : "unset");
    // The identifier's text, which is the current language's.
    const std::string text = c.id == 1033 ? "en_US" : c.lang;
    EXPECT_EQ(config::LanguageText(c.id), text);
    EXPECT_EQ(config::CurrentLanguageText(), text);
  }
  for (uint32_t unknown : {0u, 437u, 1035u, 0xFFFFFFFFu}) {
    EXPECT_STREQ(config::LanguageText(unknown), "en_US") << unknown;
  }
}

constexpr char kTable[] =
    "[ASCII EN_US DEFAULT STRING ID SECTION]\n"
    "0:1F=Thirty-one\n"
    "0:20=Thirty-two\r\n"
    "0:0A=padded key\n"
    "0:30=caf\xC3\xA9\n"
    "0:A20=remapped\n"
    "0:920=not remapped\n"
    "0:921=own\n"
    "0:905=five\n"
    "0:90A=ten\n"
    "[MISCELLANEOUS STRING ID SECTION]\n"
    "40C:1F=Trente et un\n"
    "407:1F=Einunddreissig\n"
    "40C:2A=quarante-deux\r\n"
    "40c:2B=lower-case key\n";

class StringTables : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(sandbox.Path("w/ini"));
    sandbox.WriteRegistry("mernex.vardatapath=" + sandbox.DataDir() +
                          "\nWexbridge.inipath=" + sandbox.Path("w") + "\n");
    ASSERT_TRUE(sandbox.Reload());
    WriteFile(table, kTable);
    config::ForgetOemRange();
  }
  void TearDown() override { config::ForgetOemRange(); }

  // The UTF-8 lookup: the text (empty when not found), the result and the
  // language afterwards.
  struct Found {
    std::string text;
    uint32_t result;
    uint32_t language;
  };
  Found Lookup(uint32_t id, uint32_t language, const std::string &file = "") {
    char buffer[64] = {};
    uint32_t size = sizeof buffer;
    const uint32_t result = SMGetUTF8StrFromIDPathFile(
        id, &language, (file.empty() ? table : file).c_str(), buffer, &size);
    EXPECT_EQ(size, result);
    return {buffer, result, language};
  }
  std::u16string Ucs2(uint32_t id, uint32_t language = 1033, uint32_t *result = nullptr) {
    uint16_t buffer[64];
    uint32_t size = sizeof buffer;
    const uint32_t found = SMGetUCS2StrFromID(id, &language, buffer, &size);
    if (result) *result = found;
    return std::u16string(reinterpret_cast<const char16_t *>(buffer), size / 2 - 1);
  }

  kxtest::Sandbox sandbox;
  std::string table = sandbox.Path("w/ini/kxsdst32.ini");
  std::string oem = sandbox.Path("w/ini/kxisdy32.ini");
};

TEST_F(StringTables, missing_strings_fall_back_to_us_english) {
  struct Case {
    uint32_t id, language;
    const char *text;
    uint32_t language_after;
  } cases[] = {
      {0x1F, 1036, "Trente et un", 1036},
      {0x1F, 1031, "Einunddreissig", 1031},
      {0x1F, 1033, "Thirty-one", 0},  // US English reads the default section as 0
      {0x1F, 437, "Thirty-one", 0},
      {0x1F, 0, "Thirty-one", 0},
      {0x1F, 2052, "Thirty-one", 0},  // missing in Chinese: US English, language 0
      {0x20, 1036, "Thirty-two", 0},  // the CR is not part of the text
      {0x2A, 1036, "quarante-deux", 1036},
      {0x2B, 1036, "", 0},  // keys are upper-case hexadecimal
      {0x0A, 1033, "", 0},  // without leading zeros
      {0x99, 1036, "", 0},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(::testing::Message() << "id " << c.id << " language " << c.language);
    const Found found = Lookup(c.id, c.language);
    EXPECT_EQ(found.text, c.text);
    EXPECT_EQ(found.result, c.text[0] ? std::strlen(c.text) + 1 : 0u);
    EXPECT_EQ(found.language, c.language_after);
  }
  // No language pointer: the default section.
  char buffer[32];
  uint32_t size = sizeof buffer;
  EXPECT_EQ(SMGetUTF8StrFromIDPathFile(0x1F, nullptr, table.c_str(), buffer, &size), 11u);
  EXPECT_STREQ(buffer, "Thirty-one");
  // A missing table finds nothing.
  EXPECT_EQ(Lookup(0x1F, 1036, sandbox.Path("none.ini")).result, 0u);
}

TEST_F(StringTables, the_result_is_the_size_and_the_text_is_copied_when_it_fits) {
  uint32_t language = 1036;
  uint32_t size = 0;
  EXPECT_EQ(SMGetUTF8StrFromIDPathFile(0x1F, &language, table.c_str(), nullptr, &size), 13u);
  EXPECT_EQ(size, 13u);
  char buffer[16];
  std::strcpy(buffer, "untouched");
  size = 12;
  EXPECT_EQ(SMGetUTF8StrFromIDPathFile(0x1F, &language, table.c_str(), buffer, &size), 13u);
  EXPECT_EQ(size, 13u);
  EXPECT_STREQ(buffer, "untouched");
  size = 13;
  EXPECT_EQ(SMGetUTF8StrFromIDPathFile(0x1F, &language, table.c_str(), buffer, &size), 13u);
  EXPECT_STREQ(buffer, "Trente et un");
  EXPECT_EQ(SMGetUTF8StrFromIDPathFile(0x1F, &language, table.c_str(), buffer, nullptr), 13u);
  // A null path is delivered as a text of its own.
  char wide[32];
  size = sizeof wide;
  EXPECT_EQ(SMGetUTF8StrFromIDPathFile(0x1F, &language, nullptr, wide, &size), 23u);
  EXPECT_STREQ(wide, "Invalid Path File Name");
  EXPECT_EQ(size, 23u);
  // A value too long for the 2,048-byte value buffer is not found.
  WriteFile(table, "[ASCII EN_US DEFAULT STRING ID SECTION]\n0:1=" + std::string(2048, 'x') +
                       "\n0:2=" + std::string(2047, 'y') + "\n");
  language = 0;
  size = 0;
  EXPECT_EQ(SMGetUTF8StrFromIDPathFile(1, &language, table.c_str(), nullptr, &size), 0u);
  EXPECT_EQ(SMGetUTF8StrFromIDPathFile(2, &language, table.c_str(), nullptr, &size), 2048u);
}

TEST_F(StringTables, failing_allocations_are_delivered_as_a_text) {
  // The value buffer and the key buffer: either failing gives the same text.
  for (uint64_t granted : {0u, 1u}) {
    char buffer[64] = {};
    uint32_t size = sizeof buffer, language = 1036, result;
    {
      kx::base::testing::AllocationBudget budget(granted);
      result = SMGetUTF8StrFromIDPathFile(0x1F, &language, table.c_str(), buffer, &size);
    }
    EXPECT_EQ(result, 26u) << granted;
    EXPECT_EQ(size, 26u);
    EXPECT_STREQ(buffer, "Failed to allocate memory");
    EXPECT_EQ(language, 1036u);
  }
}

TEST_F(StringTables, ucs2_strings_come_from_the_product_table) {
  uint32_t result = 0;
  EXPECT_EQ(Ucs2(0x1F, 1036, &result), u"Trente et un");
  EXPECT_EQ(result, 13u);
  EXPECT_EQ(Ucs2(0x30, 1033, &result), u"caf\u00E9");
  EXPECT_EQ(result, 6u);
  // Measuring, and too small a buffer: twice the UTF-8 size.
  uint32_t language = 1036, size = 0;
  EXPECT_EQ(SMGetUCS2StrFromID(0x1F, &language, nullptr, &size), 13u);
  EXPECT_EQ(size, 26u);
  uint16_t buffer[16] = {0x1234};
  size = 25;
  EXPECT_EQ(SMGetUCS2StrFromID(0x1F, &language, buffer, &size), 13u);
  EXPECT_EQ(size, 26u);
  EXPECT_EQ(buffer[0], 0x1234);
  // The converted size may be below twice the UTF-8 size.
  language = 0;
  size = 12;
  EXPECT_EQ(SMGetUCS2StrFromID(0x30, &language, buffer, &size), 6u);
  EXPECT_EQ(size, 10u);
  // Not found: the empty text.
  EXPECT_EQ(Ucs2(0x99, 1036, &result), u"");
  EXPECT_EQ(result, 0u);
}

TEST_F(StringTables, without_the_product_ini_path_the_text_says_so) {
  sandbox.WriteRegistry("mernex.vardatapath=" + sandbox.DataDir() + "\n");
  ASSERT_TRUE(sandbox.Reload());
  uint32_t result = 0;
  EXPECT_EQ(Ucs2(0x1F, 1036, &result), u"Invalid Path File Name");
  EXPECT_EQ(result, 23u);
}

TEST_F(StringTables, oem_values_default_one_by_one_and_remap_an_inclusive_range) {
  config::OemRange defaults = config::LoadOemRange();
  EXPECT_EQ(defaults.base, 2304u);
  EXPECT_EQ(defaults.range, 32u);
  EXPECT_EQ(defaults.offset, 0u);
  WriteFile(oem, "[OEM Configuration]\nBaseID=100\noffset=7\n");
  config::OemRange loaded = config::LoadOemRange();
  EXPECT_EQ(loaded.base, 100u);
  EXPECT_EQ(loaded.range, 32u);  // missing: the default
  EXPECT_EQ(loaded.offset, 7u);
  WriteFile(oem, "[OEM Configuration]\nBaseID=lots\noemRange=4\n");
  loaded = config::LoadOemRange();
  EXPECT_EQ(loaded.base, 2304u);  // unreadable: the default
  EXPECT_EQ(loaded.range, 4u);

  config::OemRange oem_range;
  oem_range.offset = 0x100;
  EXPECT_EQ(config::RemapOemId(2303, oem_range), 2303u);
  EXPECT_EQ(config::RemapOemId(2304, oem_range), 2304u + 0x100);
  EXPECT_EQ(config::RemapOemId(2336, oem_range), 2336u + 0x100);  // BaseID + oemRange
  EXPECT_EQ(config::RemapOemId(2337, oem_range), 2337u);
}

TEST_F(StringTables, oem_range_is_loaded_once_per_process) {
  // 2336 is 0x920; with the offset 0x100 it reads 0xA20.
  WriteFile(oem, "[OEM Configuration]\nBaseID=2304\noemRange=32\noffset=256\n");
  EXPECT_EQ(Ucs2(2336), u"remapped");
  EXPECT_EQ(Ucs2(2337), u"own");
  WriteFile(oem, "[OEM Configuration]\noffset=0\n");
  EXPECT_EQ(Ucs2(2336), u"remapped");  // the values of the first call stay
  // The load happens while the base is 0, so a base of 0 is read every time.
  config::ForgetOemRange();
  WriteFile(oem, "[OEM Configuration]\nBaseID=0\noemRange=3000\noffset=5\n");
  EXPECT_EQ(Ucs2(2304), u"five");  // 0x900 + 5
  EXPECT_EQ(Ucs2(2304), u"five");
  WriteFile(oem, "[OEM Configuration]\nBaseID=0\noemRange=4000\noffset=10\n");
  EXPECT_EQ(Ucs2(2304), u"ten");
}

}  // namespace
