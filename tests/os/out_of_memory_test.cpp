// The OS services when the library's allocations fail: each call reports its
// failure (status 272, a null handle or copy, or a function not run) and
// leaves nothing behind: no entry in a table, no library mapped, no file
// written. Every request from the given point on is refused.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <string>

#include "base/memory.h"
#include "kxsupt/ipc.h"
#include "kxsupt/os.h"
#include "os/critical_section.h"
#include "os/library.h"
#include "os_test_util.h"

namespace {

using kx::base::testing::AllocationBudget;

int g_runs = 0;
void CountRun(void *) {
  g_runs += 1;
}

TEST(OutOfMemory, calls_report_it_and_leave_nothing_behind) {
  kx_test::TempDir dir;
  ASSERT_TRUE(dir.ok());
  kx_test::WriteFile(dir / "src", "payload");
  kx_test::WriteFile(dir / "pci.ids", "V\t1\tA\nD\t2\tB\n");
  setenv("KXSUPT_TEST_OOM", "value", 1);
  const bool cs_here = kx::os::CriticalSectionEntryCount() == -1 && kx::os::CriticalSectionAttach();
  const bool lib_here = kx::os::FLibUserCount("") == -1 && kx::os::FLibTableAttach();
  {
    AllocationBudget budget(0);
    EXPECT_EQ(SMFileCopy((dir / "src").c_str(), (dir / "dest").c_str()), SM_STATUS_NO_MEMORY);
    char vendor[8], device[8];
    uint32_t vendor_size = 8, device_size = 8;
    EXPECT_EQ(SMReadPCIDevFile(1, 2, 0, 0, (dir / "pci.ids").c_str(), vendor, &vendor_size, device,
                               &device_size),
              SM_STATUS_NO_MEMORY);
    EXPECT_EQ(SMThreadStart([](void *) -> void * { return nullptr; }, nullptr), nullptr);
    EXPECT_EQ(SMSemaphoreCreate(nullptr, 1), nullptr);
    EXPECT_EQ(SMMutexCreate(nullptr), nullptr);
    EXPECT_EQ(SMLibLoad(KXSUPT_TESTLIB_WITH_TABLE), nullptr);
    EXPECT_EQ(SMEnvDup("KXSUPT_TEST_OOM", nullptr), nullptr);
    SMCriticalSectionExecute(&CountRun, nullptr, SM_WAIT_FOREVER);
    EXPECT_EQ(g_runs, 0);
    EXPECT_EQ(kx::os::CriticalSectionEntryCount(), 0);
    // The shared layer fails at each of its allocations in turn.
    for (uint64_t granted = 0; granted < 64; ++granted) {
      budget.Grant(granted);
      void *function = SMFLibLinkToExportFN("alpha", KXSUPT_TESTLIB_WITH_TABLE, "KxTestAnswer");
      kx::base::testing::AllowAllAllocations();
      if (function != nullptr) {
        EXPECT_EQ(SMFLibUnLoad("alpha", KXSUPT_TESTLIB_WITH_TABLE), SM_STATUS_SUCCESS);
        break;
      }
      // A failure before the user was recorded leaves no entry; one in the
      // function cache leaves the user linked, as a missing function does.
      if (kx::os::FLibUserCount(KXSUPT_TESTLIB_WITH_TABLE) == 1) {
        EXPECT_EQ(SMFLibUnLoad("alpha", KXSUPT_TESTLIB_WITH_TABLE), SM_STATUS_SUCCESS);
      }
      EXPECT_EQ(kx::os::FLibUserCount(KXSUPT_TESTLIB_WITH_TABLE), -1) << granted;
    }
  }
  EXPECT_EQ(kx_test::ReadFile(dir / "dest"), "");
  void *mapped = dlopen(KXSUPT_TESTLIB_WITH_TABLE, RTLD_NOW | RTLD_NOLOAD);
  EXPECT_EQ(mapped, nullptr);
  if (mapped != nullptr) dlclose(mapped);
  if (cs_here) kx::os::CriticalSectionDetach();
  if (lib_here) kx::os::FLibTableDetach();
  unsetenv("KXSUPT_TEST_OOM");
}

}  // namespace
