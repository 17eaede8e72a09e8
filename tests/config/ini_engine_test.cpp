// The INI engine's calls: argument rules, lists, backup names, directories,
// deletions, spellings and dangling links, the file-name form, the UTF-8 and
// enumeration reads and temporary names.
#include <gtest/gtest.h>
#include <kxsupt.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>

#include "config/file_rewrite.h"
#include "config/ini.h"
#include "sandbox.h"

namespace {

namespace fs = std::filesystem;
using kx::Status;
using kxtest::ReadFile;
using kxtest::WriteFile;
namespace config = kx::config;

class IniEngine : public ::testing::Test {
 protected:
  kxtest::Sandbox sandbox;
  std::string path = sandbox.Path("e.ini");

  SMStatus Set(const char *section, const char *key, const char *value,
               const std::string &file = "") {
    const std::string &target = file.empty() ? path : file;
    return SMWriteINIPathFileValue(section, key, 1, value,
                                   value ? static_cast<uint32_t>(strlen(value) + 1) : 0,
                                   target.c_str(), 1);
  }
  std::string Get(const char *section, const char *key, SMStatus *status = nullptr,
                  const std::string &file = "") {
    char value[256];
    uint32_t size = sizeof value;
    SMStatus result = SMReadINIPathFileValue(section, key, 1, value, &size, nullptr, 0,
                                             (file.empty() ? path : file).c_str(), 1);
    if (status) *status = result;
    return result == 0 ? std::string(value, size - 1) : "";
  }
};

TEST_F(IniEngine, argument_rules) {
  char value[8];
  uint32_t size = sizeof value;
  EXPECT_EQ(SMReadINIPathFileValue("s", "k", 1, nullptr, &size, nullptr, 0, path.c_str(), 1),
            SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMReadINIPathFileValue("s", "k", 1, value, nullptr, nullptr, 0, path.c_str(), 1),
            SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMReadINIPathFileValue("s", "k", 1, value, &size, nullptr, 0, nullptr, 1),
            SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMReadINIPathFileValue("s", "k", 1, value, &size, nullptr, 0, "", 1),
            SM_STATUS_INVALID_ARGS);
  size = 0;
  EXPECT_EQ(SMReadINIPathFileValue("s", "k", 1, value, &size, nullptr, 0, path.c_str(), 1),
            SM_STATUS_INVALID_ARGS);
  size = 1;
  EXPECT_EQ(SMReadINIPathFileValue(nullptr, "k", 1, value, &size, nullptr, 0, path.c_str(), 1),
            SM_STATUS_INVALID_ARGS);
  size = 8;
  EXPECT_EQ(SMReadINIPathFileValue("s", nullptr, 5, value, &size, nullptr, 0, path.c_str(), 1),
            SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(Set(nullptr, "k", "v"), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMWriteINIPathFileValue("s", "k", 1, "v", 2, "", 1), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMWriteINIPathFileValue("s", "k", 1, "v", 2, nullptr, 1), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(Set("s", "k", "v", sandbox.Path("dir/")), SM_STATUS_INVALID_ARGS);
  const std::string name255(255, 'n'), name256(256, 'n');
  EXPECT_EQ(Set(name256.c_str(), "k", "v"), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(Set("s", name256.c_str(), "v"), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(Set(name255.c_str(), name255.c_str(), "v"), 0u);
  EXPECT_EQ(Get(name255.c_str(), name255.c_str()), "v");
  SMStatus status;
  Get("s", "k", &status, sandbox.Path("absent.ini"));
  EXPECT_EQ(status, 260u);
}

TEST_F(IniEngine, section_and_key_lists) {
  WriteFile(path, "k=0\n[one]\na=1\n;y=2\nno equals\n  bb=2\n[two]\n#w=4\n[three]\nc=3\n");
  char list[64];
  uint32_t size = sizeof list;
  ASSERT_EQ(SMReadINIPathFileValue(nullptr, nullptr, 1, list, &size, nullptr, 0, path.c_str(), 1),
            0u);
  EXPECT_EQ(std::string(list, size), std::string("one\0two\0three\0\0", 15));
  size = sizeof list;
  ASSERT_EQ(SMReadINIPathFileValue("one", nullptr, 1, list, &size, nullptr, 0, path.c_str(), 1),
            0u);
  EXPECT_EQ(std::string(list, size), std::string("a\0bb\0\0", 6));
  // Too small: the names that fit, a closed list, and the size needed.
  size = 9;
  ASSERT_EQ(SMReadINIPathFileValue(nullptr, nullptr, 1, list, &size, nullptr, 0, path.c_str(), 1),
            16u);
  EXPECT_EQ(size, 15u);
  EXPECT_EQ(std::string(list, 9), std::string("one\0two\0\0", 9));
  size = sizeof list;
  EXPECT_EQ(SMReadINIPathFileValue("two", nullptr, 1, list, &size, nullptr, 0, path.c_str(), 1),
            263u);
  size = sizeof list;
  EXPECT_EQ(SMReadINIPathFileValue("four", nullptr, 1, list, &size, nullptr, 0, path.c_str(), 1),
            262u);
  // Section names are not trimmed; a malformed header fails the list.
  WriteFile(path, "[ c ]\n[d\n");
  size = sizeof list;
  EXPECT_EQ(SMReadINIPathFileValue(" c ", nullptr, 1, list, &size, nullptr, 0, path.c_str(), 1),
            263u);
  size = sizeof list;
  EXPECT_EQ(SMReadINIPathFileValue(nullptr, nullptr, 1, list, &size, nullptr, 0, path.c_str(), 1),
            SM_STATUS_READ_FAILED);
}

// head, then n copies of c, then tail: long names built by appending (GCC 12
// at -O3 warns falsely about "literal" + std::string temporaries).
std::string Repeat(const char *head, size_t n, char c, const char *tail) {
  return std::string(head).append(n, c).append(tail);
}

TEST(IniBackupName, forms) {
  const std::pair<std::string, std::string> table[] = {
      {"/x/a.ini", "/x/a.bak"},
      {"/x/a", "/x/a.bak"},
      {"/x.d/a", "/x.d/a.bak"},
      {"a.b.c", "a.b.bak"},
      {"/x/a.", "/x/a.bak"},
      {"/x/.ini", "/x/.bak"},
      {"/x/a.bak", "/x/a.bak.bak"},
      {Repeat("/", 260, 'f', ""), Repeat("/", 251, 'f', "bak")},
      {Repeat("/", 250, 'f', ".ini"), Repeat("/", 250, 'f', ".bak")},
      {Repeat("/", 249, 'f', ".ini"), Repeat("/", 249, 'f', ".ibak")},
      {Repeat("/", 252, 'd', "/a.ini"), Repeat("/", 252, 'd', "/a.bak")},
  };
  for (const auto &[path, backup] : table) EXPECT_EQ(config::BackupName(path), backup) << path;
}

TEST_F(IniEngine, directories_deletions_and_leftovers) {
  EXPECT_EQ(Set("s", "k", "v", sandbox.Path("new/a.ini")), 0u);
  EXPECT_EQ(Get("s", "k", nullptr, sandbox.Path("new/a.ini")), "v");
  EXPECT_EQ(Set("s", "k", "v", sandbox.Path("x/y/a.ini")), 0xFFFFFFFFu);
  ASSERT_EQ(Set("s", "k", "v"), 0u);
  EXPECT_EQ(kxtest::DirectoryEntries(sandbox.dir()),
            (std::set<std::string>{"e.ini", "new", "var", "vqreg.cfg"}));
  // Deleting the only key keeps the section; deleting it empties the file.
  ASSERT_EQ(Set("s", "k", nullptr), 0u);
  EXPECT_EQ(ReadFile(path), "[s]\n");
  ASSERT_EQ(Set("s", nullptr, nullptr), 0u);
  EXPECT_EQ(ReadFile(path), "");
  EXPECT_EQ(Set("s", nullptr, nullptr), SM_STATUS_BAD_VALUE);
  EXPECT_EQ(Set("s", "k", nullptr, sandbox.Path("none.ini")), SM_STATUS_BAD_VALUE);
}

TEST_F(IniEngine, spellings_and_dangling_links) {
  fs::create_directories(sandbox.Path("real"));
  const std::string target = sandbox.Path("real/t.ini"), link = sandbox.Path("link.ini");
  WriteFile(target, "[s]\nk=1\n");
  fs::create_symlink("real/t.ini", link);
  EXPECT_EQ(config::CanonicalPath(link), target);
  EXPECT_EQ(config::CanonicalPath(sandbox.Path("./real/../link.ini")), target);
  EXPECT_EQ(config::CanonicalPath(sandbox.Path("real/./none.ini")), sandbox.Path("real/none.ini"));
  EXPECT_EQ(config::CanonicalPath(sandbox.Path("gone/x.ini")), sandbox.Path("gone/x.ini"));
  // A dangling link names its future target.
  fs::create_symlink("real/later.ini", sandbox.Path("dangling.ini"));
  ASSERT_EQ(Set("s", "k", "3", sandbox.Path("dangling.ini")), 0u);
  EXPECT_EQ(ReadFile(sandbox.Path("real/later.ini")), "[s]\nk=3\n");
  EXPECT_TRUE(fs::is_symlink(sandbox.Path("dangling.ini")));
}

TEST_F(IniEngine, file_name_form_under_the_product_ini_directory) {
  char value[16];
  uint32_t size = sizeof value;
  EXPECT_EQ(SMWriteINIFileValue("s", "k", 1, "v", 2, "f.ini", 1), 0xFFFFFFFFu);
  EXPECT_EQ(SMReadINIFileValue("s", "k", 1, value, &size, nullptr, 0, "f.ini", 1), 0xFFFFFFFFu);
  const std::string product = sandbox.Path("p");
  fs::create_directories(product);
  sandbox.WriteRegistry("mernex.vardatapath=" + sandbox.DataDir() +
                        "\nWexbridge.inipath=" + product + "\n");
  ASSERT_TRUE(sandbox.Reload());
  ASSERT_EQ(SMWriteINIFileValue("s", "k", 1, "v", 2, "f.ini", 1), 0u);
  EXPECT_EQ(ReadFile(product + "/ini/f.ini"), "[s]\nk=v\n");
  size = sizeof value;
  ASSERT_EQ(SMReadINIFileValue("s", "k", 1, value, &size, nullptr, 0, "f.ini", 1), 0u);
  EXPECT_STREQ(value, "v");
  // The directory's size (its length + 1), 6 and the name must stay below 257.
  const std::string fits(256 - 6 - (product.size() + 1), 'n');
  const std::string too_long = fits + "n";
  size = sizeof value;
  EXPECT_EQ(SMReadINIFileValue("s", "k", 1, value, &size, nullptr, 0, fits.c_str(), 1),
            SM_STATUS_FILE_OPEN_FAILED);
  EXPECT_EQ(SMReadINIFileValue("s", "k", 1, value, &size, nullptr, 0, too_long.c_str(), 1),
            SM_STATUS_BUFFER_TOO_SMALL);
}

TEST_F(IniEngine, utf8_read_grows_once_and_returns_defaults) {
  // A value past the first 8,193 bytes needs the second, larger read; a line
  // past the reader's 8,449 bytes ends its value there.
  const std::string big(8300, 'b'), huge(20000, 'h');
  WriteFile(path, "[s]\nsmall=x\nbig=" + big + "\nhuge=" + huge + "\n");
  uint32_t size = 0;
  char *text = SMReadINISectionKeyUTF8Value("s", "small", nullptr, &size, path.c_str(), 1);
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(text, "x");
  EXPECT_EQ(size, 2u);
  SMFreeMem(text);
  text = SMReadINISectionKeyUTF8Value("s", "big", nullptr, &size, path.c_str(), 1);
  ASSERT_NE(text, nullptr);
  EXPECT_TRUE(std::string(text) == big);
  EXPECT_EQ(size, big.size() + 1);
  SMFreeMem(text);
  text = SMReadINISectionKeyUTF8Value("s", "huge", nullptr, &size, path.c_str(), 1);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(size, 8449u - 5 + 1);
  SMFreeMem(text);
  text = SMReadINISectionKeyUTF8Value("s", "none", "dflt", &size, path.c_str(), 1);
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(text, "dflt");
  EXPECT_EQ(size, 5u);
  SMFreeMem(text);
  EXPECT_EQ(SMReadINISectionKeyUTF8Value("s", "none", nullptr, &size, path.c_str(), 1), nullptr);
}

TEST_F(IniEngine, enumerations_single_and_multiple) {
  WriteFile(path, "[s]\nmode=Fast\nflags= read , EXEC,bogus,,write\nodd=slow\n");
  const SMEnum32Entry table[] = {{"none", 100, 0}, {"unread", 200, 0}, {"fast", 1, 0},
                                 {"read", 2, 0},   {"write", 4, 0},    {"exec", 8, 0}};
  EXPECT_EQ(SMReadINIEnums32Value("s", "mode", table, 6, 0, path.c_str(), 1), 1u);
  EXPECT_EQ(SMReadINIEnums32Value("s", "odd", table, 6, 0, path.c_str(), 1), 100u);
  EXPECT_EQ(SMReadINIEnums32Value("s", "missing", table, 6, 0, path.c_str(), 1), 200u);
  EXPECT_EQ(SMReadINIEnums32Value("s", "flags", table, 6, 1, path.c_str(), 1), 14u);
  EXPECT_EQ(SMReadINIEnums32Value("s", "flags", table, 6, 0, path.c_str(), 1), 100u);
  EXPECT_EQ(SMReadINIEnums32Value("s", "odd", table, 6, 1, path.c_str(), 1), 0u);
  EXPECT_EQ(SMReadINIEnums32Value("s", "mode", table, 1, 0, path.c_str(), 1), 0x80000000u);
  EXPECT_EQ(SMReadINIEnums32Value("s", "mode", nullptr, 6, 0, path.c_str(), 1), 0x80000000u);
  EXPECT_EQ(SMReadINIEnums32Value(nullptr, "mode", table, 6, 0, path.c_str(), 1), 0x80000000u);
}

TEST_F(IniEngine, temporary_names_differ_between_forked_processes) {
  char name[9];
  uint32_t size = 8;
  EXPECT_EQ(SMGetTmpFile(sandbox.dir().c_str(), name, &size), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 9u);
  EXPECT_EQ(SMGetTmpFile(nullptr, name, &size), SM_STATUS_INVALID_ARGS);
  ASSERT_EQ(SMGetTmpFile(sandbox.dir().c_str(), name, &size), 0u);
  EXPECT_EQ(size, 9u);
  EXPECT_EQ(strspn(name, "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"), 8u);
  // Children forked from one parent, at the same moment, draw their own names.
  constexpr int kChildren = 16;
  int pipes[kChildren][2];
  for (auto &p : pipes) {
    ASSERT_EQ(pipe(p), 0);
    if (fork() == 0) {
      char drawn[9];
      uint32_t room = sizeof drawn;
      SMGetTmpFile("/", drawn, &room);
      _exit(write(p[1], drawn, 8) == 8 ? 0 : 1);
    }
  }
  std::set<std::string> names;
  for (auto &p : pipes) {
    char drawn[8];
    ASSERT_EQ(read(p[0], drawn, 8), 8);
    names.insert(std::string(drawn, 8));
    close(p[0]);
    close(p[1]);
  }
  for (int i = 0; i < kChildren; ++i) wait(nullptr);
  EXPECT_EQ(names.size(), static_cast<size_t>(kChildren));
}

}  // namespace
