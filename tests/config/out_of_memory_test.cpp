// The configuration files under refused allocations. This program's operator
// new (refusing_new.cpp) spends the library's allocation budget too, so a
// budget reaches the
// standard strings and containers of the INI engine, the property files and
// the registry cache. Each call is walked through budgets 0, 1, 2, ... until
// it succeeds; every refusal must give 272 and leave the file as it was, with
// nothing beside it.
#include <gtest/gtest.h>
#include <kxsupt.h>

#include <filesystem>
#include <functional>
#include <set>
#include <string>

#include "base/memory.h"
#include "sandbox.h"

namespace {

using kx::base::testing::AllocationBudget;
using kxtest::DirectoryEntries;
using kxtest::ReadFile;
using kxtest::WriteFile;

constexpr uint64_t kLongestWalk = 2000;

// Walks `call` through growing budgets; after every refusal `check_refused`
// runs with the budget lifted. Returns the budget that first succeeded.
template <typename Call, typename Check>
uint64_t WalkBudgets(Call call, Check check_refused) {
  for (uint64_t budget = 0; budget < kLongestWalk; ++budget) {
    SMStatus status;
    {
      AllocationBudget limit(budget);
      status = call();
    }
    if (status == SM_STATUS_SUCCESS) return budget;
    EXPECT_EQ(status, SM_STATUS_NO_MEMORY) << "budget " << budget;
    check_refused(budget);
    if (testing::Test::HasFailure()) return budget;
  }
  ADD_FAILURE() << "no success within " << kLongestWalk << " allocations";
  return kLongestWalk;
}

const std::string kIni = "; head\n[a]\nx=1\n\n[b]\ny=2\nz=3\n";
const std::string kProperties = "# head\nport=8080\nname=first\n";

// Walks a write of `file` (holding `before`, beside one other file) through
// the budgets: every refusal leaves `before` and nothing new beside it, and
// the write that succeeds leaves `after`.
void ExpectRefusedWritesKeepTheFile(const kxtest::Sandbox &sandbox, const std::string &file,
                                    const std::string &before, const std::string &after,
                                    const std::function<SMStatus(const char *path)> &write) {
  const std::string dir = sandbox.Path("files"), path = dir + "/" + file;
  std::filesystem::create_directory(dir);
  WriteFile(dir + "/keep", "");
  WriteFile(path, before);
  const uint64_t needed = WalkBudgets(
      [&] { return write(path.c_str()); },
      [&](uint64_t budget) {
        EXPECT_EQ(ReadFile(path), before) << budget;
        EXPECT_EQ(DirectoryEntries(dir), (std::set<std::string>{"keep", file})) << budget;
      });
  EXPECT_GT(needed, 0u);
  EXPECT_EQ(ReadFile(path), after);
  EXPECT_EQ(DirectoryEntries(dir), (std::set<std::string>{"keep", file}));
}

TEST(ConfigOutOfMemory, refused_ini_writes_keep_the_old_file_and_leave_nothing) {
  kxtest::Sandbox sandbox;
  ExpectRefusedWritesKeepTheFile(
      sandbox, "w.ini", kIni, "; head\n[a]\nx=1\n\n[b]\ny=22\nz=3\n",
      [](const char *path) { return SMWriteINIPathFileValue("b", "y", 1, "22", 3, path, 1); });
}

TEST(ConfigOutOfMemory, refused_ini_reads_report_and_copy_the_default) {
  kxtest::Sandbox sandbox;
  const std::string path = sandbox.Path("r.ini");
  WriteFile(path, kIni);
  char value[16];
  uint32_t size = 0;
  const uint64_t needed = WalkBudgets(
      [&] {
        size = sizeof value;
        return SMReadINIPathFileValue("b", "z", 1, value, &size, "dflt", 5, path.c_str(), 1);
      },
      [&](uint64_t budget) {
        EXPECT_STREQ(value, "dflt") << budget;
        EXPECT_EQ(size, 5u) << budget;
      });
  EXPECT_GT(needed, 0u);
  EXPECT_STREQ(value, "3");

  // A typed read takes the default in its type's width.
  const uint32_t fallback = 77;
  uint32_t number = 0;
  WalkBudgets(
      [&] {
        number = 0;
        size = sizeof number;
        return SMReadINIPathFileValue("a", "x", 5, &number, &size, &fallback, 4, path.c_str(), 1);
      },
      [&](uint64_t budget) {
        EXPECT_EQ(number, fallback) << budget;
        EXPECT_EQ(size, 4u) << budget;
      });
  EXPECT_EQ(number, 1u);
  EXPECT_EQ(ReadFile(path), kIni);
}

TEST(ConfigOutOfMemory, refused_property_writes_keep_the_file_and_reads_give_the_default) {
  kxtest::Sandbox sandbox;
  ExpectRefusedWritesKeepTheFile(
      sandbox, "p.properties", kProperties, "# head\nport=8080\nname=second\n",
      [](const char *path) { return SMPropertyFileWriteValue("name", 13, "second", 7, path, 1); });

  const std::string path = sandbox.Path("files/p.properties");
  char value[32];
  uint32_t size = 0;
  WalkBudgets(
      [&] {
        size = sizeof value;
        value[0] = '\0';
        return SMPropertyFileReadValue("name", 13, value, &size, "none", 5, path.c_str(), 1);
      },
      [&](uint64_t budget) {
        EXPECT_STREQ(value, "none") << budget;
        EXPECT_EQ(size, 5u) << budget;
      });
  EXPECT_STREQ(value, "second");
}

TEST(ConfigOutOfMemory, refused_registry_lookups_leave_the_cache_to_be_rebuilt) {
  kxtest::Sandbox sandbox;
  const std::string logs = sandbox.Path("logs");
  std::filesystem::create_directory(logs);
  sandbox.WriteRegistry("mernex.vardatapath=" + sandbox.DataDir() + "\nWexbridge.logpath=" + logs +
                        "/\n");
  ASSERT_TRUE(sandbox.Reload());
  char path[256];
  WalkBudgets(
      [&] {
        uint32_t size = sizeof path;
        return SMGetPathByProductIDandType(35, 8, path, &size);
      },
      [](uint64_t) {});
  EXPECT_EQ(path, logs);
  // Once lifted, a lookup finds the same answer again.
  uint32_t size = sizeof path;
  ASSERT_EQ(SMGetPathByProductIDandType(35, 8, path, &size), SM_STATUS_SUCCESS);
  EXPECT_EQ(path, logs);
}

}  // namespace
