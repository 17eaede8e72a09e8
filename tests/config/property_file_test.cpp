// Property files through the exported calls: argument rules, typed reads and
// their defaults, the key list, writes in place (continuations, prefix keys,
// the empty-file rule).
#include <gtest/gtest.h>
#include <kxsupt.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "config/file_rewrite.h"
#include "sandbox.h"

namespace {

namespace fs = std::filesystem;
using kx::Status;
using kxtest::ReadFile;
using kxtest::WriteFile;
namespace config = kx::config;

class PropertyFile : public ::testing::Test {
 protected:
  kxtest::Sandbox sandbox;
  std::string path = sandbox.Path("p.properties");

  // The text value of a key, or the status when the read fails.
  std::string Get(const char *key, SMStatus *status = nullptr) {
    char value[256];
    uint32_t size = sizeof value;
    SMStatus result =
        SMPropertyFileReadValue(key, SM_XLT_UTF8_STRING, value, &size, nullptr, 0, path.c_str(), 1);
    if (status) *status = result;
    return result == SM_STATUS_SUCCESS ? std::string(value, size - 1) : "";
  }
  SMStatus Set(const char *key, const char *value) {
    return SMPropertyFileWriteValue(key, SM_XLT_UTF8_STRING, value,
                                    static_cast<uint32_t>(strlen(value) + 1), path.c_str(), 1);
  }
};

TEST_F(PropertyFile, missing_arguments_and_bad_types_are_refused) {
  WriteFile(path, "k=v\n");
  char value[16];
  uint32_t size = sizeof value;
  EXPECT_EQ(
      SMPropertyFileReadValue("k", SM_XLT_UTF8_STRING, value, nullptr, nullptr, 0, path.c_str(), 1),
      SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMPropertyFileReadValue("k", SM_XLT_UTF8_STRING, value, &size, nullptr, 0, nullptr, 1),
            SM_STATUS_INVALID_PARAMETER);
  // Only the text type lists keys.
  EXPECT_EQ(SMPropertyFileReadValue(nullptr, SM_XLT_UINT32, value, &size, "d", 2, path.c_str(), 1),
            SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(size, sizeof value);
  EXPECT_EQ(SMPropertyFileWriteValue(nullptr, SM_XLT_UTF8_STRING, "v", 2, path.c_str(), 1),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMPropertyFileWriteValue("k", SM_XLT_UTF8_STRING, nullptr, 0, path.c_str(), 1),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMPropertyFileWriteValue("k", SM_XLT_UTF8_STRING, "v", 2, nullptr, 1),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(ReadFile(path), "k=v\n");
  // A type code beyond the table.
  EXPECT_EQ(SMPropertyFileReadValue("k", 17, value, &size, nullptr, 0, path.c_str(), 1),
            SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMPropertyFileWriteValue("k", 17, "v", 2, path.c_str(), 1), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(ReadFile(path), "k=v\n");
}

TEST_F(PropertyFile, values_are_converted_by_type) {
  WriteFile(path,
            "! comment\nport: 8080\nhost = h1\\\n  h2  \nflag=TRUE\nratio=2.5\nlang=pt_BR\n"
            "bytes=00FF10\nbig=300\nneg=-300\n");
  EXPECT_EQ(Get("host"), "h1\n  h2");
  const struct {
    const char *key;
    uint32_t type, room;
    SMStatus status;
    uint32_t size;
    uint64_t bits;  // the value's bits, zero-extended from its width
  } rows[] = {
      {"port", SM_XLT_UINT32, 4, SM_STATUS_SUCCESS, 4, 8080},
      {"flag", SM_XLT_BOOLEAN, 2, SM_STATUS_SUCCESS, 2, 1},
      {"ratio", SM_XLT_DOUBLE, 8, SM_STATUS_SUCCESS, 8, 0x4004000000000000ull},  // 2.5
      {"lang", SM_XLT_LANGUAGE_ID, 4, SM_STATUS_SUCCESS, 4, 1046},
      {"bytes", SM_XLT_BYTE_ARRAY, 8, SM_STATUS_SUCCESS, 3, 0x10FF00},
      // Text that is no number of the type: the translation's statuses.
      {"host", SM_XLT_UINT32, 4, SM_STATUS_INVALID_PARAMETER, 0, 0},
      {"big", SM_XLT_INT8, 1, SM_STATUS_OVERFLOW, 0, 0},
      {"neg", SM_XLT_INT8, 1, SM_STATUS_UNDERFLOW, 0, 0},
      {"!", SM_XLT_UTF8_STRING, 8, SM_STATUS_ENTRY_NOT_FOUND, 0, 0},
  };
  for (const auto &row : rows) {
    uint64_t bits = 0;
    uint32_t size = row.room;
    EXPECT_EQ(SMPropertyFileReadValue(row.key, row.type, &bits, &size, nullptr, 0, path.c_str(), 1),
              row.status)
        << row.key;
    if (row.status == SM_STATUS_SUCCESS) {
      EXPECT_EQ(size, row.size) << row.key;
      EXPECT_EQ(bits, row.bits) << row.key;
    }
  }
}

TEST_F(PropertyFile, a_default_stands_in_for_a_failure_when_it_fits) {
  WriteFile(path, "name=hello world\n");
  char value[32];
  // Too small: 16 with the size needed.
  uint32_t size = 4;
  EXPECT_EQ(SMPropertyFileReadValue("name", SM_XLT_UTF8_STRING, value, &size, nullptr, 0,
                                    path.c_str(), 1),
            SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 12u);
  // A failure with a default that fits the caller's room: the default, and
  // the failure status.
  size = sizeof value;
  EXPECT_EQ(SMPropertyFileReadValue("other", SM_XLT_UTF8_STRING, value, &size, "dflt", 5,
                                    path.c_str(), 1),
            SM_STATUS_ENTRY_NOT_FOUND);
  EXPECT_STREQ(value, "dflt");
  EXPECT_EQ(size, 5u);
  // Also on a buffer too small, when the default fits.
  size = 6;
  EXPECT_EQ(
      SMPropertyFileReadValue("name", SM_XLT_UTF8_STRING, value, &size, "dflt", 5, path.c_str(), 1),
      SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_STREQ(value, "dflt");
  EXPECT_EQ(size, 5u);
  // A default larger than the room, or of size 0, is not used.
  std::strcpy(value, "untouched");
  size = 4;
  EXPECT_EQ(SMPropertyFileReadValue("other", SM_XLT_UTF8_STRING, value, &size, "dflt", 5,
                                    path.c_str(), 1),
            SM_STATUS_ENTRY_NOT_FOUND);
  EXPECT_STREQ(value, "untouched");
  size = sizeof value;
  EXPECT_EQ(SMPropertyFileReadValue("other", SM_XLT_UTF8_STRING, value, &size, "dflt", 0,
                                    path.c_str(), 1),
            SM_STATUS_ENTRY_NOT_FOUND);
  EXPECT_STREQ(value, "untouched");
  // A typed default.
  uint32_t number = 0, fallback = 77;
  size = sizeof number;
  EXPECT_EQ(SMPropertyFileReadValue("name", SM_XLT_UINT32, &number, &size, &fallback,
                                    sizeof fallback, path.c_str(), 1),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(number, 77u);
  // A missing file is 260, with the default.
  size = sizeof number;
  EXPECT_EQ(SMPropertyFileReadValue("name", SM_XLT_UINT32, &number, &size, &fallback,
                                    sizeof fallback, sandbox.Path("none").c_str(), 1),
            SM_STATUS_FILE_OPEN_FAILED);
  EXPECT_EQ(size, 4u);
}

TEST_F(PropertyFile, keys_are_listed_in_file_order) {
  WriteFile(path, "# keys\nb=1\na: 2\nc 3\\\nnot a key\n\nb=4\n");
  char list[64];
  uint32_t size = sizeof list;
  ASSERT_EQ(SMPropertyFileReadValue(nullptr, SM_XLT_UTF8_STRING, list, &size, nullptr, 0,
                                    path.c_str(), 1),
            SM_STATUS_SUCCESS);
  EXPECT_EQ(size, 9u);
  EXPECT_EQ(std::string(list, size), std::string("b\0a\0c\0b\0\0", 9));
  // Measuring: a null buffer, or one too small, gives the size needed.
  size = 0;
  EXPECT_EQ(SMPropertyFileReadValue(nullptr, SM_XLT_UTF8_STRING, nullptr, &size, nullptr, 0,
                                    path.c_str(), 1),
            SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 9u);
  std::memset(list, 'x', sizeof list);
  size = 5;
  EXPECT_EQ(SMPropertyFileReadValue(nullptr, SM_XLT_UTF8_STRING, list, &size, nullptr, 0,
                                    path.c_str(), 1),
            SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 9u);
  EXPECT_EQ(std::string(list, 5), std::string("b\0a\0\0", 5));  // what fits, closed
  WriteFile(path, "# nothing\n\n");
  size = sizeof list;
  EXPECT_EQ(SMPropertyFileReadValue(nullptr, SM_XLT_UTF8_STRING, list, &size, nullptr, 0,
                                    path.c_str(), 1),
            SM_STATUS_ENTRY_NOT_FOUND);
}

TEST_F(PropertyFile, writes_replace_in_place) {
  const std::string head = "# settings\r\n\n  ! note\n";
  WriteFile(path, head + "host = h1\\\n  h2\\\n  h3\nport: 80\n  tail=1  \nno newline");
  ASSERT_EQ(Set("host", "x"), SM_STATUS_SUCCESS);
  EXPECT_EQ(ReadFile(path), head + "host=x\nport: 80\n  tail=1  \nno newline");
  // A value with a continuation becomes one line again the next time.
  ASSERT_EQ(Set("port", "a\\\nb"), SM_STATUS_SUCCESS);
  EXPECT_EQ(Get("port"), "a\nb");
  ASSERT_EQ(Set("port", "81"), SM_STATUS_SUCCESS);
  EXPECT_EQ(ReadFile(path), head + "host=x\nport=81\n  tail=1  \nno newline");
  // The requested key is written, over the line whose key begins it.
  ASSERT_EQ(Set("portal", "9"), SM_STATUS_SUCCESS);
  EXPECT_EQ(ReadFile(path), head + "host=x\nportal=9\n  tail=1  \nno newline");
  // The last line, without its line feed, gets one.
  ASSERT_EQ(Set("no", "yes"), SM_STATUS_SUCCESS);
  EXPECT_EQ(ReadFile(path), head + "host=x\nportal=9\n  tail=1  \nno=yes\n");
  // Typed values are written as the translation writes them.
  const uint32_t number = 4000000000u;
  ASSERT_EQ(
      SMPropertyFileWriteValue("tail", SM_XLT_UINT32, &number, sizeof number, path.c_str(), 1),
      SM_STATUS_SUCCESS);
  const uint16_t flag = 2;
  ASSERT_EQ(SMPropertyFileWriteValue("host", SM_XLT_BOOLEAN, &flag, sizeof flag, path.c_str(), 1),
            SM_STATUS_SUCCESS);
  const int32_t hex = 255;
  ASSERT_EQ(SMPropertyFileWriteValue("no", SM_XLT_INT32 | SM_XLT_SELECT_HEX, &hex, sizeof hex,
                                     path.c_str(), 1),
            SM_STATUS_SUCCESS);
  EXPECT_EQ(ReadFile(path), head + "host=false\nportal=9\ntail=4000000000\nno=0xff\n");
}

TEST_F(PropertyFile, writing_an_absent_key_empties_the_file) {
  WriteFile(path, "a=1\nb=2\n");
  ASSERT_EQ(Set("c", "3"), SM_STATUS_SUCCESS);
  EXPECT_TRUE(kxtest::FileExists(path));
  EXPECT_EQ(ReadFile(path), "");
  // An empty file holds no key either, and stays empty.
  ASSERT_EQ(Set("a", "1"), SM_STATUS_SUCCESS);
  EXPECT_EQ(ReadFile(path), "");
  // A missing file is not created.
  const std::string absent = sandbox.Path("absent.properties");
  EXPECT_EQ(SMPropertyFileWriteValue("a", SM_XLT_UTF8_STRING, "1", 2, absent.c_str(), 1),
            SM_STATUS_FILE_OPEN_FAILED);
  EXPECT_FALSE(kxtest::FileExists(absent));
}

}  // namespace
