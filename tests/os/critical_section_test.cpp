// The rules of SMCriticalSectionExecute that need no second thread: what
// runs and what does not, the entry's lifetime, the non-recursive lock (in a
// forked child, since it deadlocks), and the table following the library's
// real attach chain.
#include <gtest/gtest.h>

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include "frame/lifecycle.h"
#include "kxsupt/os.h"
#include "os/critical_section.h"
#include "os_test_util.h"

namespace {

int g_calls = 0;
int32_t g_users_inside = 0;

void Count(void *) {
  g_calls += 1;
  g_users_inside = kx::os::CriticalSectionUsers(&Count);
}

void EnterAgain(void *) {
  SMCriticalSectionExecute(&EnterAgain, nullptr, SM_WAIT_FOREVER);
}

TEST(CriticalSection, runs_only_with_a_wait_forever_time_out_while_the_table_is_up) {
  const bool here = kx::os::CriticalSectionEntryCount() == -1 && kx::os::CriticalSectionAttach();
  g_calls = 0;
  SMCriticalSectionExecute(&Count, nullptr, SM_WAIT_FOREVER);
  EXPECT_EQ(g_calls, 1);
  EXPECT_EQ(g_users_inside, 1);
  EXPECT_EQ(kx::os::CriticalSectionEntryCount(), 0);  // the entry left with its caller
  for (uint32_t timeout : {0u, 1u, 40u, 0xFFFFFFFEu}) {
    SMCriticalSectionExecute(&Count, nullptr, timeout);
  }
  SMCriticalSectionExecute(nullptr, nullptr, SM_WAIT_FOREVER);
  EXPECT_EQ(g_calls, 1);

  // A function entering its own section again waits for itself for ever: the
  // child gets well over the time a call needs, then is killed.
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    SMCriticalSectionExecute(&EnterAgain, nullptr, SM_WAIT_FOREVER);
    _exit(0);
  }
  int status = 0;
  pid_t reaped = 0;
  for (int i = 0; i < 50 && reaped == 0; ++i) {
    usleep(10000);
    reaped = waitpid(child, &status, WNOHANG);
  }
  EXPECT_EQ(reaped, 0) << "the nested call returned";
  if (reaped == 0) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
  }

  kx::os::CriticalSectionDetach();
  SMCriticalSectionExecute(&Count, nullptr, SM_WAIT_FOREVER);
  EXPECT_EQ(g_calls, 1);
  EXPECT_EQ(kx::os::CriticalSectionEntryCount(), -1);
  kx::os::CriticalSectionDetach();  // safe when down
  if (!here) {
    ASSERT_EQ(kx::os::CriticalSectionAttach(), 1);
  }
}

// With a sandbox registry the library attaches and steps 5 and 8 are up;
// after the last unload they are down. The runner's load state is restored.
TEST(CriticalSection, table_and_library_list_follow_the_attach_chain) {
  kx::frame::Lifecycle &library = kx::frame::Library();
  const int32_t loads_before = library.load_count();
  while (library.load_count() > 0) library.Unload();
  while (library.attach_count() > 0) library.Detach();
  kx_test::TempDir dir;
  ASSERT_TRUE(dir.ok());
  // The IPC layer (step 4) needs a data directory.
  kx_test::WriteBytes(dir / "vqreg.cfg",
                      "tesk.installpath=/opt/tesk\nmernex.vardatapath=" + dir.path() + "\n");
  setenv("KXSUPT_REGISTRY_FILE", (dir / "vqreg.cfg").c_str(), 1);

  ASSERT_EQ(library.Load(), 1);
  g_calls = 0;
  SMCriticalSectionExecute(&Count, nullptr, SM_WAIT_FOREVER);
  EXPECT_EQ(g_calls, 1);
  EXPECT_EQ(SMFLibUnLoad("user", "/nonexistent/library.so"), SM_STATUS_SUCCESS);
  EXPECT_EQ(library.Unload(), 1);
  SMCriticalSectionExecute(&Count, nullptr, SM_WAIT_FOREVER);
  EXPECT_EQ(g_calls, 1);
  EXPECT_EQ(SMFLibUnLoad("user", "/nonexistent/library.so"), SM_STATUS_NOT_READY);

  unsetenv("KXSUPT_REGISTRY_FILE");
  for (int32_t i = 0; i < loads_before; ++i) library.Load();
}

}  // namespace
