// The IPC key registry: the file's sections byte for byte, the allocation
// rules against hand-written registries and against the same allocation done
// in separate steps through the INI engine's public reads and writes, and
// eight processes allocating at once.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ipc/key_registry.h"
#include "ipc_sandbox.h"
#include "kxsupt/config.h"
#include "kxsupt/ipc.h"

namespace {

using ipctest::Channel;
using ipctest::IpcSandbox;
using ipctest::ReadFile;
using ipctest::Reap;
using ipctest::Spawn;
using ipctest::WriteFile;
namespace ipc = kx::ipc;

TEST(KeyRegistry, first_key_is_300001_and_the_file_gets_both_sections) {
  IpcSandbox sandbox(IpcSandbox::kUnseeded);
  ASSERT_FALSE(std::filesystem::exists(sandbox.KeyRegistry()));
  EXPECT_EQ(ipc::KeyForName("kxsupsmpFIRST"), 300001u);
  EXPECT_EQ(ReadFile(sandbox.KeyRegistry()),
            "[Unique String Name Key Section]\nkxsupsmpFIRST=300001\n\n"
            "[Unique Numeric Value Key Section]\n300001=kxsupsmpFIRST\n");
  EXPECT_EQ(ipc::KeyForName("kxsupevtSECOND"), 300002u);
  const std::string both = ReadFile(sandbox.KeyRegistry());
  EXPECT_EQ(both,
            "[Unique String Name Key Section]\nkxsupsmpFIRST=300001\nkxsupevtSECOND=300002\n\n"
            "[Unique Numeric Value Key Section]\n300001=kxsupsmpFIRST\n300002=kxsupevtSECOND\n");
  // A known name keeps its key and changes nothing.
  EXPECT_EQ(ipc::KeyForName("kxsupsmpFIRST"), 300001u);
  EXPECT_EQ(ReadFile(sandbox.KeyRegistry()), both);
}

struct AllocationCase {
  const char *what;
  const char *registry;  // the key registry before; null for no file
  uint32_t key;          // the key a new name gets; 0 for a refusal
};

const char kNames[] = "[Unique String Name Key Section]\nkxsupshmOLD=300007\n";

const AllocationCase kAllocationCases[] = {
    {"no file", nullptr, 300001},
    {"empty file", "", 300001},
    {"only the name section", kNames, 300001},
    {"numeric section without keys", "[Unique Numeric Value Key Section]\n", 300002},
    {"numeric section with only comments", "[Unique Numeric Value Key Section]\n;300100=x\n#7=y\n",
     300002},
    {"largest of unordered keys", "[Unique Numeric Value Key Section]\n300005=a\n300003=b\n",
     300006},
    {"keys that are not numbers are skipped",
     "[Unique Numeric Value Key Section]\nabc=a\n-7=b\n300010x=c\n99999999999=d\n300004=e\n",
     300005},
    {"keys below the floor count as the first key", "[Unique Numeric Value Key Section]\n12=a\n",
     300002},
    {"the last key is given", "[Unique Numeric Value Key Section]\n4294967294=a\n", 4294967295u},
    {"refused at the wrap", "[Unique Numeric Value Key Section]\n4294967295=a\n", 0},
    {"a name entry that is not a key is allocated afresh",
     "[Unique String Name Key Section]\nkxsupsmpNEW=seven\n\n"
     "[Unique Numeric Value Key Section]\n300020=kxsupevtX\n",
     300021},
    {"a long key list is read whole",
     "[Unique Numeric Value Key Section]\n300001=a\n300002=b\n300003=c\n300004=d\n300005=e\n"
     "300006=f\n300007=g\n300008=h\n300009=i\n300010=j\n400000=k\n",
     400001},
};

// The allocation as six separate steps through the INI engine's public
// reads and writes: the name's value; on a missing file the first key; else
// the numeric section's key list (read into 4 bytes, then at the size that
// reports) and its largest key + 1; the name entry; the numeric entry.
uint32_t StepwiseKeyForName(const std::string &file, const std::string &name) {
  uint32_t key = 0;
  uint32_t size = sizeof key;
  const SMStatus status = SMReadINIPathFileValue("Unique String Name Key Section", name.c_str(), 5,
                                                 &key, &size, nullptr, 0, file.c_str(), 1);
  if (status == SM_STATUS_SUCCESS) return key;
  uint32_t next = 300001;
  if (status != SM_STATUS_NOT_FOUND && status != SM_STATUS_FILE_OPEN_FAILED) {
    std::string list(4, '\0');
    size = 4;
    SMStatus listed = SMReadINIPathFileValue("Unique Numeric Value Key Section", nullptr, 1,
                                             list.data(), &size, nullptr, 0, file.c_str(), 1);
    if (listed == SM_STATUS_BUFFER_TOO_SMALL) {
      list.assign(size, '\0');
      listed = SMReadINIPathFileValue("Unique Numeric Value Key Section", nullptr, 1, list.data(),
                                      &size, nullptr, 0, file.c_str(), 1);
    }
    if (listed == SM_STATUS_ENTRY_NOT_FOUND) list.assign(2, '\0');
    if (listed != SM_STATUS_END_OF_FILE) {
      if (listed != SM_STATUS_SUCCESS && listed != SM_STATUS_ENTRY_NOT_FOUND) return 0;
      uint64_t largest = 300001;
      for (size_t at = 0; at < list.size() && list[at] != '\0';) {
        const std::string text = list.c_str() + at;
        at += text.size() + 1;
        if (text.empty() || text.size() > 10 ||
            text.find_first_not_of("0123456789") != std::string::npos) {
          continue;
        }
        largest =
            std::max<uint64_t>(largest, std::stoull(text) <= UINT32_MAX ? std::stoull(text) : 0);
      }
      if (largest + 1 > UINT32_MAX) return 0;
      next = static_cast<uint32_t>(largest + 1);
    }
  }
  if (SMWriteINIPathFileValue("Unique String Name Key Section", name.c_str(), 5, &next, sizeof next,
                              file.c_str(), 1) != SM_STATUS_SUCCESS) {
    return 0;
  }
  const std::string decimal = std::to_string(next);
  SMWriteINIPathFileValue("Unique Numeric Value Key Section", decimal.c_str(), 1, name.c_str(),
                          static_cast<uint32_t>(name.size() + 1), file.c_str(), 1);
  return next;
}

// From every starting registry of the table the first new name gets the
// expected key (a refusal writes nothing), and over a run of new and
// repeated names the one-pass allocation leaves, key for key and byte for
// byte, the file that the six separate steps leave.
TEST(KeyRegistry, allocation_follows_the_table_and_the_separate_steps) {
  std::mt19937 random(11);
  for (const AllocationCase &test : kAllocationCases) {
    SCOPED_TRACE(test.what);
    IpcSandbox sandbox(IpcSandbox::kUnseeded);
    std::filesystem::create_directories(sandbox.IpcDir());
    const std::string stepwise = sandbox.IpcDir() + "/stepwise.ini";
    if (test.registry != nullptr) {
      WriteFile(sandbox.KeyRegistry(), test.registry);
      WriteFile(stepwise, test.registry);
    }
    const std::string before = ReadFile(sandbox.KeyRegistry());
    EXPECT_EQ(ipc::KeyForName("kxsupsmpNEW"), test.key);
    if (test.key == 0) {
      EXPECT_EQ(ReadFile(sandbox.KeyRegistry()), before);  // a refusal writes nothing
    }
    ASSERT_EQ(StepwiseKeyForName(stepwise, "kxsupsmpNEW"), test.key);
    for (int i = 0; i < 40; ++i) {
      const std::string name =
          i % 8 == 0 ? "kxsupsmpNEW" : "kxsupevtN" + std::to_string(random() % 25);
      ASSERT_EQ(ipc::KeyForName(name.c_str()), StepwiseKeyForName(stepwise, name)) << name;
      ASSERT_EQ(ReadFile(sandbox.KeyRegistry()), ReadFile(stepwise)) << name;
    }
  }
}

// Eight processes allocate 200 names of their own and 20 names that all of
// them ask for, at the same time. Every name ends with exactly one key,
// no key serves two names, each process saw the key that the file keeps,
// and the file stays well-formed.
TEST(KeyRegistry, eight_processes_allocating_at_once_agree_on_every_key) {
  IpcSandbox sandbox;
  constexpr int kProcesses = 8;
  constexpr int kOwnNames = 200;
  constexpr int kSharedNames = 20;
  Channel start;
  std::vector<std::string> reports(kProcesses);
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    reports[p] = sandbox.dir() + "/report" + std::to_string(p);
    children.push_back(Spawn([&, p] {
      if (start.Receive() < 0) return 1;
      std::ostringstream seen;
      for (int i = 0; i < kOwnNames + kSharedNames; ++i) {
        // The shared names are asked for in a different order by each process.
        const std::string name = i < kOwnNames
                                     ? "kxsupsmpP" + std::to_string(p) + "N" + std::to_string(i)
                                     : "kxsupevtS" + std::to_string((i + p) % kSharedNames);
        const uint32_t key = ipc::KeyForName(name.c_str());
        if (key == 0) return 2;
        seen << name << ' ' << key << '\n';
      }
      WriteFile(reports[p], seen.str());
      return 0;
    }));
  }
  for (int p = 0; p < kProcesses; ++p) start.Send();
  bool all_done = true;
  for (pid_t child : children) all_done = Reap(child) == 0 && all_done;
  ASSERT_TRUE(all_done);

  ipctest::KeyRegistrySections sections;
  ASSERT_TRUE(ipctest::ParseKeyRegistry(ReadFile(sandbox.KeyRegistry()), &sections));
  ASSERT_EQ(sections.size(), 2u);
  const auto &names = sections["Unique String Name Key Section"];
  const auto &keys = sections["Unique Numeric Value Key Section"];
  std::map<std::string, std::string> key_of;
  for (const auto &[name, key] : names) {
    EXPECT_TRUE(key_of.emplace(name, key).second) << name << " listed twice";
  }
  std::map<std::string, std::string> name_of;
  for (const auto &[key, name] : keys) {
    if (name == "sandbox seed") continue;
    EXPECT_TRUE(name_of.emplace(key, name).second) << "key " << key << " given twice";
  }
  EXPECT_EQ(key_of.size(), size_t{kProcesses} * kOwnNames + kSharedNames);
  EXPECT_EQ(name_of.size(), key_of.size());
  for (const auto &[name, key] : key_of) EXPECT_EQ(name_of[key], name) << key;
  size_t reported = 0;
  for (const std::string &report : reports) {
    std::istringstream in(ReadFile(report));
    std::string name, key;
    while (in >> name >> key) {
      EXPECT_EQ(key_of[name], key) << name;
      ++reported;
    }
  }
  EXPECT_EQ(reported, size_t{kProcesses} * (kOwnNames + kSharedNames));
}

}  // namespace
