// The shared library table from many threads: users link and unlink the same
// libraries concurrently, every link sees the one address, and when all have
// gone no library is left loaded.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "kxsupt/os.h"
#include "os/library.h"

namespace {

TEST(LibraryTableThreads, concurrent_users_link_and_unlink) {
  const char *const libraries[] = {KXSUPT_TESTLIB_WITH_TABLE, KXSUPT_TESTLIB_WITHOUT_TABLE};
  const bool here = kx::os::FLibUserCount("") == -1 && kx::os::FLibTableAttach();
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t) {
    threads.emplace_back([t, &failures, &libraries] {
      const std::string user = "user" + std::to_string(t);
      for (int i = 0; i < 300; ++i) {
        const int which = (t + i) % 2;
        void *function = SMFLibLinkToExportFN(user.c_str(), libraries[which], "KxTestAnswer");
        // The user's own link keeps the library loaded while it calls.
        if (function == nullptr || reinterpret_cast<int32_t (*)(void)>(function)() != 42 + which ||
            SMFLibUnLoad(user.c_str(), libraries[which]) != SM_STATUS_SUCCESS) {
          failures.fetch_add(1);
        }
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  for (const char *library : libraries) {
    EXPECT_EQ(kx::os::FLibUserCount(library), -1);
    void *mapped = dlopen(library, RTLD_NOW | RTLD_NOLOAD);
    EXPECT_EQ(mapped, nullptr);
    if (mapped != nullptr) dlclose(mapped);
  }
  if (here) kx::os::FLibTableDetach();
}

}  // namespace
