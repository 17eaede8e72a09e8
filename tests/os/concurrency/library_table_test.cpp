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

const char *const kLibraries[] = {KXSUPT_TESTLIB_WITH_TABLE, KXSUPT_TESTLIB_WITHOUT_TABLE};
const int32_t kAnswers[] = {42, 43};

bool Mapped(const char *path) {
  void *handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

TEST(LibraryTableThreads, concurrent_users_link_and_unlink) {
  const bool attached_here = kx::os::FLibUserCount("") == -1 && kx::os::FLibTableAttach() == 1;
  constexpr int kThreads = 6;
  constexpr int kRounds = 300;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &failures] {
      const std::string user = "user" + std::to_string(t);
      for (int i = 0; i < kRounds; ++i) {
        const int which = (t + i) % 2;
        void *function = SMFLibLinkToExportFN(user.c_str(), kLibraries[which], "KxTestAnswer");
        // The user's own link keeps the library loaded while it calls.
        if (function == nullptr ||
            reinterpret_cast<int32_t (*)(void)>(function)() != kAnswers[which]) {
          failures.fetch_add(1);
        }
        if (SMFLibUnLoad(user.c_str(), kLibraries[which]) != SM_STATUS_SUCCESS) {
          failures.fetch_add(1);
        }
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  for (const char *library : kLibraries) {
    EXPECT_EQ(kx::os::FLibUserCount(library), -1);
    EXPECT_FALSE(Mapped(library));
  }
  if (attached_here) kx::os::FLibTableDetach();
}

}  // namespace
