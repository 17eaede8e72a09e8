// Named semaphores with real processes: counting and limits,
// creation over an existing set, open, waits interrupted by signals, a count
// kept by a process killed with SIGKILL, and who removes the set.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "ipc_sandbox.h"
#include "kxsupt/ipc.h"
#include "os/semaphore.h"

namespace {

using ipctest::Channel;
using ipctest::IpcSandbox;
using ipctest::Reap;
using ipctest::Spawn;

int SetOf(void *semaphore) {
  return static_cast<kx::os::SemaphoreHandle *>(semaphore)->object.set_id;
}

// The set's value and permission as the kernel reports them.
int KernelValue(int set_id) {
  return semctl(set_id, 0, GETVAL);
}
bool SetExists(int set_id) {
  struct semid_ds info {};
  return semctl(set_id, 0, IPC_STAT, &info) == 0;
}

// Unnamed semaphores are the OS services' (tests/os/concurrency); these are
// the named ones, on System V sets.
TEST(NamedSemaphore, counts_down_to_a_time_out_and_up_again) {
  IpcSandbox sandbox;
  void *semaphore = SMSemaphoreCreate("count", 2);
  ASSERT_NE(semaphore, nullptr);
  EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, SM_WAIT_FOREVER), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, 0), SM_STATUS_TIMEOUT);
  EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, 30), SM_STATUS_TIMEOUT);
  int32_t previous = -1;
  EXPECT_EQ(SMSemaphoreRelease(semaphore, 3, &previous), SM_STATUS_SUCCESS);
  EXPECT_EQ(previous, 0);
  EXPECT_EQ(SMSemaphoreRelease(semaphore, 1, &previous), SM_STATUS_SUCCESS);
  EXPECT_EQ(previous, 3);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, 0), SM_STATUS_TIMEOUT);
  SMSemaphoreDestroy(semaphore);
}

TEST(NamedSemaphore, counts_outside_the_limits_are_refused) {
  IpcSandbox sandbox;
  EXPECT_EQ(SMSemaphoreCreate("big", 32768), nullptr);
  void *semaphore = SMSemaphoreCreate("big", 32767);
  ASSERT_NE(semaphore, nullptr);
  EXPECT_EQ(SMSemaphoreRelease(semaphore, 0, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMSemaphoreRelease(semaphore, 32768, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMSemaphoreRelease(semaphore, -1, nullptr), SM_STATUS_INVALID_PARAMETER);
  // The system's maximum value is 32767: the count cannot grow further.
  EXPECT_EQ(SMSemaphoreRelease(semaphore, 1, nullptr), SM_STATUS_ERROR);
  SMSemaphoreDestroy(semaphore);
}

// A wait interrupted by a signal goes on waiting: for ever, or for the
// time that is left.
TEST(NamedSemaphore, waits_go_on_after_a_signal) {
  IpcSandbox sandbox;
  struct sigaction action {};
  action.sa_handler = [](int) {};
  struct sigaction old {};
  ASSERT_EQ(sigaction(SIGUSR1, &action, &old), 0);  // no SA_RESTART
  void *semaphore = SMSemaphoreCreate("interrupted", 0);
  ASSERT_NE(semaphore, nullptr);
  for (uint32_t timeout : {SM_WAIT_FOREVER, 60000u}) {
    SMStatus status = SM_STATUS_FAILED;
    std::atomic<bool> waiting{false};
    std::thread waiter([&] {
      waiting = true;
      status = SMSemaphoreAcquireWait(semaphore, timeout);
    });
    while (!waiting) std::this_thread::yield();
    for (int i = 0; i < 5; ++i) {
      usleep(10000);
      pthread_kill(waiter.native_handle(), SIGUSR1);
    }
    EXPECT_EQ(SMSemaphoreRelease(semaphore, 1, nullptr), SM_STATUS_SUCCESS);
    waiter.join();
    EXPECT_EQ(status, SM_STATUS_SUCCESS) << timeout;
  }
  SMSemaphoreDestroy(semaphore);
  sigaction(SIGUSR1, &old, nullptr);
}

TEST(NamedSemaphore, shared_between_processes_and_removed_only_by_its_creator) {
  IpcSandbox sandbox;
  EXPECT_EQ(SMSemaphoreOpen("shared"), nullptr);  // no set yet
  EXPECT_NE(ipctest::ReadFile(sandbox.KeyRegistry()).find("kxsupsmp"), std::string::npos)
      << "open registers the name";
  void *semaphore = SMSemaphoreCreate("shared", 0);
  ASSERT_NE(semaphore, nullptr);
  const int set_id = SetOf(semaphore);
  Channel ready;
  const pid_t child = Spawn([&] {
    void *opened = SMSemaphoreOpen("shared");
    if (opened == nullptr || SetOf(opened) != set_id) return 1;
    ready.Send();
    if (SMSemaphoreAcquireWait(opened, SM_WAIT_FOREVER) != SM_STATUS_SUCCESS) return 2;
    if (SMSemaphoreRelease(opened, 5, nullptr) != SM_STATUS_SUCCESS) return 3;
    SMSemaphoreDestroy(opened);  // only opened: the set stays
    return 0;
  });
  ASSERT_EQ(ready.Receive(), '.');
  EXPECT_EQ(SMSemaphoreRelease(semaphore, 1, nullptr), SM_STATUS_SUCCESS);
  EXPECT_EQ(Reap(child), 0);
  EXPECT_TRUE(SetExists(set_id));
  EXPECT_EQ(KernelValue(set_id), 5);
  SMSemaphoreDestroy(semaphore);
  EXPECT_FALSE(SetExists(set_id));
}

// Creating a name whose set exists takes the set over and sets its value.
TEST(NamedSemaphore, creating_an_existing_name_sets_its_value) {
  IpcSandbox sandbox;
  void *first = SMSemaphoreCreate("twice", 7);
  void *second = SMSemaphoreCreate("twice", 1);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(SetOf(first), SetOf(second));
  EXPECT_EQ(KernelValue(SetOf(first)), 1);
  SMSemaphoreDestroy(second);  // a creator too: the set goes
  EXPECT_FALSE(SetExists(SetOf(first)));
  EXPECT_EQ(SMSemaphoreAcquireWait(first, 0), SM_STATUS_ERROR);
  SMSemaphoreDestroy(first);
}

// The acquire has no undo: a count taken by a process that is then killed
// stays taken.
TEST(NamedSemaphore, count_taken_by_a_killed_process_is_not_given_back) {
  IpcSandbox sandbox;
  void *semaphore = SMSemaphoreCreate("taken", 1);
  ASSERT_NE(semaphore, nullptr);
  Channel taken;
  const pid_t child = Spawn([&] {
    void *opened = SMSemaphoreOpen("taken");
    if (opened == nullptr || SMSemaphoreAcquireWait(opened, 0) != SM_STATUS_SUCCESS) return 1;
    taken.Send();
    pause();
    return 0;
  });
  ASSERT_EQ(taken.Receive(), '.');
  kill(child, SIGKILL);
  EXPECT_EQ(Reap(child), 128 + SIGKILL);
  EXPECT_EQ(KernelValue(SetOf(semaphore)), 0);
  EXPECT_EQ(SMSemaphoreAcquireWait(semaphore, 0), SM_STATUS_TIMEOUT);
  SMSemaphoreDestroy(semaphore);
}

}  // namespace
