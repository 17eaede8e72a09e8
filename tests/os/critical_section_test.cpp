// The rules of SMCriticalSectionExecute that need no second thread: what
// runs and what does not, the entry's lifetime, the non-recursive lock (in a
// forked child, since it deadlocks), and the table following the library's
// real attach chain.
#include <gtest/gtest.h>

#include <signal.h>
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
// after the last unload they are down.
TEST(CriticalSection, table_and_library_list_follow_the_attach_chain) {
  kxtest::Sandbox sandbox("tesk.installpath=/opt/tesk\n");
  ASSERT_TRUE(sandbox.Reload());
  g_calls = 0;
  SMCriticalSectionExecute(&Count, nullptr, SM_WAIT_FOREVER);
  EXPECT_EQ(g_calls, 1);
  EXPECT_EQ(SMFLibUnLoad("user", "/nonexistent/library.so"), SM_STATUS_SUCCESS);
  EXPECT_EQ(kx::frame::Library().Unload(), 1);
  SMCriticalSectionExecute(&Count, nullptr, SM_WAIT_FOREVER);
  EXPECT_EQ(g_calls, 1);
  EXPECT_EQ(SMFLibUnLoad("user", "/nonexistent/library.so"), SM_STATUS_NOT_READY);
}

}  // namespace
