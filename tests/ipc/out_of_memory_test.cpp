// Named IPC objects under refused allocations: each creation is walked
// through budgets 0, 1, 2, ... until it succeeds (the test program's
// operator new spends the same budget as the library's allocation path).
// A refused creation gives null and leaves no System V object (the sandbox
// fails the test otherwise) and a key registry in which every name and key
// still pair up one to one.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <map>
#include <string>

#include "base/memory.h"
#include "ipc_sandbox.h"
#include "kxsupt/ipc.h"

namespace {

using ipctest::IpcSandbox;
using kx::base::testing::AllocationBudget;

constexpr uint64_t kLongestWalk = 3000;

// Names and keys of the registry pair up one to one (the seed entry aside).
void ExpectRegistryConsistent(const IpcSandbox &sandbox, uint64_t budget) {
  ipctest::KeyRegistrySections sections;
  ASSERT_TRUE(ipctest::ParseKeyRegistry(ipctest::ReadFile(sandbox.KeyRegistry()), &sections))
      << budget;
  std::map<std::string, std::string> key_of, name_of;
  for (const auto &[name, key] : sections["Unique String Name Key Section"]) key_of[name] = key;
  for (const auto &[key, name] : sections["Unique Numeric Value Key Section"]) {
    if (name != "sandbox seed") name_of[key] = name;
  }
  EXPECT_EQ(key_of.size(), name_of.size()) << budget;
  for (const auto &[name, key] : key_of) EXPECT_EQ(name_of[key], name) << budget;
}

struct Kind {
  const char *what;
  std::function<void *()> create;
  void (*destroy)(void *);
};

TEST(IpcOutOfMemory, refused_creations_give_null_and_leave_nothing) {
  const Kind kinds[] = {
      {"mutex", [] { return SMMutexCreate("oom-mutex"); }, SMMutexDestroy},
      {"semaphore", [] { return SMSemaphoreCreate("oom-semaphore", 1); }, SMSemaphoreDestroy},
      {"event", [] { return SMEventCreate("oom-event", 1, 0); }, SMEventDestroy},
      {"shared memory", [] { return SMSharedMemCreate("oom-memory", 4096); }, SMSharedMemFree},
      {"reader-writer lock", [] { return SMRWLCreate("oom-rwl"); }, SMRWLDestroy},
  };
  IpcSandbox sandbox;
  std::string walked;
  for (const Kind &kind : kinds) {
    SCOPED_TRACE(kind.what);
    void *handle = nullptr;
    uint64_t budget = 0;
    for (; budget < kLongestWalk; ++budget) {
      {
        AllocationBudget limit(budget);
        handle = kind.create();
      }
      if (handle != nullptr) break;
      ExpectRegistryConsistent(sandbox, budget);
      if (testing::Test::HasFailure()) return;
    }
    ASSERT_NE(handle, nullptr) << "no success within " << kLongestWalk << " allocations";
    EXPECT_GT(budget, 0u);
    walked.append(walked.empty() ? "" : ", ")
        .append(kind.what)
        .append(" ")
        .append(std::to_string(budget));
    kind.destroy(handle);
  }
  ExpectRegistryConsistent(sandbox, kLongestWalk);
  std::printf("[ figures  ] refusals before each creation succeeded: %s\n", walked.c_str());
}

}  // namespace
