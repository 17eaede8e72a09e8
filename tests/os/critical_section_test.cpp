// The rules of SMCriticalSectionExecute that need no second thread: what
// runs and what does not, the entry's lifetime, the non-recursive lock (in a
// forked child, since it deadlocks), and the table coming up and going down
// with the library's attach chain.
#include <gtest/gtest.h>

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "frame/lifecycle.h"
#include "kxsupt/os.h"
#include "os/critical_section.h"
#include "os_test_util.h"

namespace {

int g_calls = 0;
int32_t g_users_inside = -2;

void Count(void *argument) {
  g_calls += *static_cast<int *>(argument);
  g_users_inside = kx::os::CriticalSectionUsers(&Count);
}

void EnterAgain(void *) {
  SMCriticalSectionExecute(&EnterAgain, nullptr, SM_WAIT_FOREVER);
}

class CriticalSectionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_calls = 0;
    attached_here_ =
        kx::os::CriticalSectionEntryCount() == -1 && kx::os::CriticalSectionAttach() == 1;
  }
  void TearDown() override {
    if (attached_here_) kx::os::CriticalSectionDetach();
  }

 private:
  bool attached_here_ = false;
};

TEST_F(CriticalSectionTest, runs_only_with_a_wait_forever_time_out) {
  int step = 5;
  SMCriticalSectionExecute(&Count, &step, SM_WAIT_FOREVER);
  EXPECT_EQ(g_calls, 5);
  // The entry exists while its caller is inside and is gone afterwards.
  EXPECT_EQ(g_users_inside, 1);
  EXPECT_EQ(kx::os::CriticalSectionEntryCount(), 0);
  for (uint32_t timeout : {0u, 1u, 40u, 0xFFFFFFFEu}) {
    SMCriticalSectionExecute(&Count, &step, timeout);
  }
  SMCriticalSectionExecute(nullptr, &step, SM_WAIT_FOREVER);
  EXPECT_EQ(g_calls, 5);
}

TEST_F(CriticalSectionTest, nothing_runs_while_the_table_is_down) {
  kx::os::CriticalSectionDetach();
  int step = 1;
  SMCriticalSectionExecute(&Count, &step, SM_WAIT_FOREVER);
  EXPECT_EQ(g_calls, 0);
  EXPECT_EQ(kx::os::CriticalSectionEntryCount(), -1);
  kx::os::CriticalSectionDetach();  // safe when down
  ASSERT_EQ(kx::os::CriticalSectionAttach(), 1);
  SMCriticalSectionExecute(&Count, &step, SM_WAIT_FOREVER);
  EXPECT_EQ(g_calls, 1);
}

// A function entering its own critical section waits for itself for ever.
// The child is given well over the time a finished call needs, then killed.
TEST_F(CriticalSectionTest, entering_the_same_function_again_deadlocks) {
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
    ASSERT_EQ(waitpid(child, &status, 0), child);
  }
}

// The real attach chain: with a sandbox registry the library attaches and the
// table is up; after the last unload it is down. The runner's own load state
// is restored afterwards.
TEST(CriticalSectionChain, table_follows_the_library_attach_chain) {
  kx::frame::Lifecycle &library = kx::frame::Library();
  const int32_t loads_before = library.load_count();
  while (library.load_count() > 0) library.Unload();
  while (library.attach_count() > 0) library.Detach();

  kx_test::TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string registry = dir / "vqreg.cfg";
  std::ofstream(registry) << "tesk.installpath=/opt/tesk\n";
  setenv("KXSUPT_REGISTRY_FILE", registry.c_str(), 1);
  ASSERT_EQ(library.Load(), 1);
  g_calls = 0;
  int step = 1;
  SMCriticalSectionExecute(&Count, &step, SM_WAIT_FOREVER);
  EXPECT_EQ(g_calls, 1);
  EXPECT_EQ(SMFLibUnLoad("user", "/nonexistent/library.so"), SM_STATUS_SUCCESS);
  EXPECT_EQ(library.Unload(), 1);
  SMCriticalSectionExecute(&Count, &step, SM_WAIT_FOREVER);
  EXPECT_EQ(g_calls, 1);
  EXPECT_EQ(SMFLibUnLoad("user", "/nonexistent/library.so"), SM_STATUS_NOT_READY);
  unsetenv("KXSUPT_REGISTRY_FILE");

  for (int32_t i = 0; i < loads_before; ++i) library.Load();
}

}  // namespace
