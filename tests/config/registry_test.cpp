// Product registry: the line grammar, direct lookups with the product -1
// fall-back, the cache (environment overrides, reload on a miss, paths that
// must exist), expansion, component names, path names, localized files and
// file property records.
#include <gtest/gtest.h>
#include <kxsupt.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <optional>
#include <string>

#include "config/registry.h"
#include "config/registry_text.h"
#include "sandbox.h"

namespace {

namespace fs = std::filesystem;
using kx::Status;
using kxtest::Sandbox;

struct GrammarCase {
  const char *name;
  std::string file;
  const char *key;
  std::optional<std::string> value;
};

TEST(RegistryGrammar, lines_keys_and_values) {
  const std::string long_line(8450, 'x');  // exactly one reader line's room
  const GrammarCase cases[] = {
      {"value blanks trimmed", "Wexbridge.inipath= /opt/x/ \n", "Wexbridge.inipath", "/opt/x/"},
      {"blank before = is part of the key", "Wexbridge.inipath =/opt/x\n", "Wexbridge.inipath",
       std::nullopt},
      {"leading blanks skipped", " \t k=/a\n", "k", "/a"},
      {"semicolon comment", "  ;k=/a\n", "k", std::nullopt},
      {"hash comment", "#k=/a\n", "k", std::nullopt},
      {"carriage return stays", "k=/a\r\n", "k", "/a\r"},
      {"first line wins", "k=/a\nk=/b\n", "k", "/a"},
      {"keys keep their case", "K=/a\n", "k", std::nullopt},
      {"empty value", "k=\n", "k", ""},
      {"blanks only", "k= \t \n", "k", ""},
      {"no final line feed", "j=1\nk=/a", "k", "/a"},
      {"line without =", "k/a\nk=/b\n", "k", "/b"},
      {"second = is value", "k==v\n", "k", "=v"},
      {"NUL ends the line", std::string("k=/a\0junk\n", 10), "k", "/a"},
      {"NUL before the key", std::string("\0k=/a\n", 6), "k", std::nullopt},
      {"a long line continues as the next line", long_line + "k=/a\n", "k", "/a"},
      {"one byte less keeps the line whole", long_line.substr(1) + "k=/a\n", "k", std::nullopt},
      {"prefix of a longer key", "kk=/a\n", "k", std::nullopt},
  };
  for (const GrammarCase &c : cases) {
    std::optional<std::string_view> found = kx::config::RegistryText(c.file).Find(c.key);
    ASSERT_EQ(found.has_value(), c.value.has_value()) << c.name;
    if (found) {
      EXPECT_EQ(std::string(*found), *c.value) << c.name;
    }
  }
}

TEST(RegistryDirect, product_minus_one_falls_back_to_a_parent) {
  Sandbox sandbox("Korvane.installpath=/opt/p/core/\nWexbridge.installpath=/opt/w/x\n");
  std::string path;
  ASSERT_EQ(kx::config::LookupRegistryPath(-1, kx::config::kPathInstall, &path), Status::kSuccess);
  EXPECT_EQ(path, "/opt/p");
  // Every type of product -1 falls back the same way.
  ASSERT_EQ(kx::config::LookupRegistryPath(-1, kx::config::kPathLog, &path), Status::kSuccess);
  EXPECT_EQ(path, "/opt/p");
  // One trailing slash is removed, no more.
  sandbox.WriteRegistry("Wexbridge.inipath= /opt/x/ \nvaxo.logpath=/a//\n");
  ASSERT_EQ(kx::config::LookupRegistryPath(35, kx::config::kPathIni, &path), Status::kSuccess);
  EXPECT_EQ(path, "/opt/x");
  ASSERT_EQ(kx::config::LookupRegistryPath(33, kx::config::kPathLog, &path), Status::kSuccess);
  EXPECT_EQ(path, "/a/");
  EXPECT_EQ(kx::config::LookupRegistryPath(33, kx::config::kPathBin, &path), Status::kNotAvailable);
  EXPECT_EQ(kx::config::LookupRegistryPath(-1, kx::config::kPathBin, &path), Status::kNotAvailable);
  EXPECT_EQ(kx::config::LookupRegistryPath(12, kx::config::kPathBin, &path),
            Status::kInvalidParameter);
  EXPECT_EQ(kx::config::LookupRegistryPath(33, kx::config::kPathInstallAlias, &path),
            Status::kInvalidParameter);
}

// Reads a path through the exported call, asserting the size protocol.
std::string PathOf(int32_t product, uint32_t type, SMStatus *status) {
  uint32_t size = 0;
  *status = SMGetPathByProductIDandType(product, type, nullptr, &size);
  if (*status != SM_STATUS_SUCCESS) return "";
  std::string path(size, '?');
  uint32_t small = size - 1;
  EXPECT_EQ(SMGetPathByProductIDandType(product, type, path.data(), &small),
            SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(small, size);
  EXPECT_EQ(path[0], '\0');  // the buffer is emptied first
  *status = SMGetPathByProductIDandType(product, type, path.data(), &size);
  EXPECT_EQ(size, path.size());
  path.pop_back();
  return path;
}

// The data-directory line that attach step 4 (the IPC layer) needs.
std::string DataLine(const Sandbox &sandbox) {
  return "mernex.vardatapath=" + sandbox.DataDir() + "\n";
}

TEST(RegistryCache, types_default_to_the_install_path_and_must_exist) {
  Sandbox sandbox;
  const std::string install = sandbox.Path("w"), logs = sandbox.Path("w/log");
  fs::create_directories(logs);
  sandbox.WriteRegistry(DataLine(sandbox) + "Wexbridge.installpath=" + install +
                        "/\nWexbridge.logpath=" + logs +
                        "\nvaxo.installpath=" + sandbox.Path("missing") + "\n");
  ASSERT_TRUE(sandbox.Reload());
  SMStatus status;
  EXPECT_EQ(PathOf(35, 2, &status), install);
  EXPECT_EQ(PathOf(35, 32, &status), install);
  EXPECT_EQ(PathOf(35, 8, &status), logs);
  for (uint32_t type : {4u, 16u, 64u, 128u}) EXPECT_EQ(PathOf(35, type, &status), install);
  uint32_t size = 99;
  char buffer[256];
  EXPECT_EQ(SMGetPathByProductIDandType(33, 2, buffer, &size), SM_STATUS_OS_FAILURE);
  EXPECT_EQ(size, 0u);
  size = sizeof buffer;
  EXPECT_EQ(SMGetPathByProductIDandType(35, 1, buffer, &size), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMGetPathByProductIDandType(12, 2, buffer, &size), SM_STATUS_NOT_AVAILABLE);
  EXPECT_EQ(SMGetPathByProductIDandType(88, 2, buffer, &size), SM_STATUS_NOT_AVAILABLE);
  size = sizeof buffer;
  ASSERT_EQ(SMGetInstallPath(buffer, &size), 0u);
  EXPECT_EQ(std::string(buffer), install);
  size = sizeof buffer;
  ASSERT_EQ(SMGetInstallPathByProductID(35, buffer, &size), 0u);
  EXPECT_EQ(size, install.size() + 1);
}

TEST(RegistryCache, a_miss_reloads_but_cached_paths_stay) {
  Sandbox sandbox;
  const std::string a = sandbox.Path("a"), b = sandbox.Path("b");
  fs::create_directories(a);
  fs::create_directories(b);
  sandbox.WriteRegistry(DataLine(sandbox) + "vaxo.installpath=" + a + "\n");
  ASSERT_TRUE(sandbox.Reload());
  SMStatus status;
  EXPECT_EQ(PathOf(33, 2, &status), a);
  EXPECT_EQ(PathOf(34, 2, &status), "");
  EXPECT_EQ(status, 256u);
  // The edit shows for the missing component, which reloads everything...
  sandbox.WriteRegistry(DataLine(sandbox) + "vaxo.installpath=" + b + "\nKorvane.installpath=" + b +
                        "\n");
  EXPECT_EQ(PathOf(33, 2, &status), a);
  EXPECT_EQ(PathOf(34, 2, &status), b);
  // ... and that reload refreshed the others too.
  EXPECT_EQ(PathOf(33, 2, &status), b);
}

TEST(RegistryCache, environment_overrides_the_install_path) {
  Sandbox sandbox;
  const std::string reg = sandbox.Path("reg"), lower = sandbox.Path("lower"),
                    upper = sandbox.Path("upper");
  for (const std::string &dir : {reg, lower, upper}) fs::create_directories(dir);
  sandbox.WriteRegistry(DataLine(sandbox) + "Korvane.installpath=" + reg + "\n");
  SMStatus status;
  struct Case {
    const char *lower_value;
    const char *upper_value;
    std::string expected;
  } cases[] = {
      {nullptr, nullptr, reg},
      {"", nullptr, reg},
      {lower.c_str(), upper.c_str(), lower},
      {"", upper.c_str(), upper},
      {nullptr, upper.c_str(), upper},
  };
  for (const Case &c : cases) {
    unsetenv("korvaneinstallpath");
    unsetenv("KORVANEINSTALLPATH");
    if (c.lower_value) setenv("korvaneinstallpath", c.lower_value, 1);
    if (c.upper_value) setenv("KORVANEINSTALLPATH", c.upper_value, 1);
    ASSERT_TRUE(sandbox.Reload());
    EXPECT_EQ(PathOf(34, 2, &status), c.expected);
    // Types missing from the registry follow the overridden install path.
    EXPECT_EQ(PathOf(34, 64, &status), c.expected);
  }
  // A value of 256 bytes or more does not fit the reader and counts as unset.
  setenv("korvaneinstallpath", std::string(256, 'x').c_str(), 1);
  unsetenv("KORVANEINSTALLPATH");
  ASSERT_TRUE(sandbox.Reload());
  EXPECT_EQ(PathOf(34, 2, &status), reg);
  unsetenv("korvaneinstallpath");
}

TEST(RegistryExpand, token_in_any_case_becomes_the_product_minus_one_path) {
  Sandbox sandbox;
  const std::string root = sandbox.Path("root");
  fs::create_directories(root + "/core");
  sandbox.WriteRegistry(DataLine(sandbox) + "Korvane.installpath=" + root + "/core\n");
  ASSERT_TRUE(sandbox.Reload());
  char buffer[512];
  uint32_t size = sizeof buffer;
  ASSERT_EQ(SMExpandVqInstallPathString("x=@VqInstallPath@/bin:@vqinstallpath@", buffer, &size),
            0u);
  const std::string expected = "x=" + root + "/bin:@vqinstallpath@";
  EXPECT_EQ(std::string(buffer), expected);
  EXPECT_EQ(size, expected.size() + 1);
  size = static_cast<uint32_t>(expected.size());
  EXPECT_EQ(SMExpandVqInstallPathString("x=@VQINSTALLPATH@/bin:@vqinstallpath@", buffer, &size),
            16u);
  EXPECT_EQ(size, expected.size() + 1);
  size = 4;
  EXPECT_EQ(SMExpandVqInstallPathString("plain", buffer, &size), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 6u);
  size = 6;
  ASSERT_EQ(SMExpandVqInstallPathString("plain", buffer, &size), 0u);
  EXPECT_STREQ(buffer, "plain");
  size = sizeof buffer;
  EXPECT_EQ(SMExpandVqInstallPathString(nullptr, buffer, &size), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(size, 0u);
  size = sizeof buffer;
  EXPECT_EQ(SMExpandVqInstallPathString(std::string(255, 'a').c_str(), buffer, &size), 0xFFFFFFFFu);
  EXPECT_EQ(size, 0u);
  size = sizeof buffer;
  EXPECT_EQ(SMExpandVqInstallPathString(std::string(254, 'a').c_str(), buffer, &size), 0u);
}

TEST(RegistryNames, component_keys_both_ways) {
  const std::pair<int32_t, const char *> table[] = {{-1, "tesk"},     {33, "vaxo"}, {34, "Korvane"},
                                                    {44, "dulo"},     {88, "pim7"}, {45, "mernex"},
                                                    {35, "Wexbridge"}};
  for (const auto &[id, key] : table) {
    char *copy = SMProductIDToSID(id);
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy, key);
    SMFreeMem(copy);
    std::string upper = key;
    for (char &c : upper) c = static_cast<char>(toupper(c));
    EXPECT_EQ(SMProductSIDToID(upper.c_str()), id);
  }
  EXPECT_EQ(SMProductIDToSID(36), nullptr);
  EXPECT_EQ(SMProductSIDToID("vax"), 0);
  EXPECT_EQ(SMProductSIDToID(nullptr), 0);
}

TEST(RegistryPathNames, directory_subdirectory_and_file) {
  Sandbox sandbox;
  const std::string ini = sandbox.Path("ini");
  fs::create_directories(ini);
  sandbox.WriteRegistry(DataLine(sandbox) + "vaxo.installpath=" + ini + "\n");
  ASSERT_TRUE(sandbox.Reload());
  struct Case {
    const char *subdir;
    std::string expected;
  } cases[] = {{nullptr, ini + "/f.ini"}, {"", ini + "/f.ini"}, {"s/t", ini + "/s/t/f.ini"}};
  for (const Case &c : cases) {
    char *path = SMMakePathFileNameByPIDAndType(33, 64, c.subdir, "f.ini");
    ASSERT_NE(path, nullptr);
    EXPECT_EQ(std::string(path), c.expected);
    SMFreeMem(path);
    path = SMMakePathFileNameByPID(33, c.subdir, "f.ini");
    ASSERT_NE(path, nullptr);
    EXPECT_EQ(std::string(path), c.expected);
    SMFreeMem(path);
  }
  EXPECT_EQ(SMMakePathFileNameByPID(33, nullptr, nullptr), nullptr);
  EXPECT_EQ(SMMakePathFileNameByPID(34, nullptr, "f"), nullptr);
}

TEST(RegistryLocalized, candidates_in_order) {
  Sandbox sandbox;
  const std::string root = sandbox.Path("r");
  auto touch = [&](const std::string &relative) {
    fs::create_directories(fs::path(root + "/" + relative).parent_path());
    kxtest::WriteFile(root + "/" + relative, "x");
  };
  auto find = [&](const char *lang, const char *subdir) -> std::string {
    char *path = SMGetLocalizedPathFileName(root.c_str(), "d", lang, subdir, "f.txt");
    std::string result = path ? path : "(null)";
    SMFreeMem(path);
    return result;
  };
  EXPECT_EQ(find("en_US", "s"), "(null)");
  touch("d/s/f.txt");
  EXPECT_EQ(find("en_US", "s"), root + "/d/s/f.txt");
  touch("d/en/s/f.txt");
  EXPECT_EQ(find("en_US", "s"), root + "/d/en/s/f.txt");
  EXPECT_EQ(find("de", "s"), root + "/d/s/f.txt");  // no underscore: no first part
  touch("d/en/US/s/f.txt");
  EXPECT_EQ(find("en_US", "s"), root + "/d/en/US/s/f.txt");
  EXPECT_EQ(find("en_US_long", "s"), "(null)");  // more than 8 bytes
  touch("d/fr//f.txt");
  EXPECT_EQ(find("fr", nullptr), root + "/d/fr//f.txt");
  // The current language comes from LANG: an unknown one is en_US.
  setenv("LANG", "fr_FR.UTF-8", 1);
  EXPECT_EQ(find(nullptr, "s"), root + "/d/en/US/s/f.txt");
  setenv("LANG", "fr", 1);
  EXPECT_EQ(find(nullptr, nullptr), root + "/d/fr//f.txt");
  unsetenv("LANG");
  EXPECT_EQ(find("en_US", nullptr), "(null)");
  char *relative = SMGetLocalizedPathFileName(nullptr, "d", "x", "", "f");
  EXPECT_EQ(relative, nullptr);
  EXPECT_EQ(SMGetLocalizedPathFileName(root.c_str(), nullptr, "x", "s", "f.txt"), nullptr);
  EXPECT_EQ(SMGetLocalizedPathFileName(root.c_str(), "d", "x", "s", nullptr), nullptr);
}

TEST(FileProp, notices_a_new_modification_time_once) {
  Sandbox sandbox;
  const std::string file = sandbox.Path("watched");
  kxtest::WriteFile(file, "1");
  EXPECT_EQ(SMFilePropAlloc(sandbox.Path("absent").c_str()), nullptr);
  EXPECT_EQ(SMFilePropAlloc(nullptr), nullptr);
  SMFileProp *prop = SMFilePropAlloc(file.c_str());
  ASSERT_NE(prop, nullptr);
  EXPECT_EQ(std::string(prop->pathFileName), file);
  EXPECT_EQ(SMFilePropIsModified(prop), 0);
  struct timespec times[2] = {{1000, 0}, {1000, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
  EXPECT_EQ(SMFilePropIsModified(prop), 1);
  EXPECT_EQ(prop->lastModTime, 1000);
  EXPECT_EQ(SMFilePropIsModified(prop), 0);
  fs::remove(file);
  EXPECT_EQ(SMFilePropIsModified(prop), 0);
  SMFilePropFree(prop);
  SMFilePropFree(nullptr);
  EXPECT_EQ(SMFilePropIsModified(nullptr), 0);
}

}  // namespace
