// Named mutexes with real processes: the bound on the lock file's path, a racy counter kept exact
// across eight processes, a holder that makes bounded waits poll and is then killed with SIGKILL,
// shared locking on a read-only lock file, and a descriptor that went bad.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "ipc/mutex.h"
#include "ipc_sandbox.h"
#include "kxsupt/ipc.h"

namespace {

using ipctest::Channel;
using ipctest::IpcSandbox;
using ipctest::Reap;
using ipctest::Spawn;

const kx::ipc::NamedMutexHandle *AsMutex(void *handle) {
  return static_cast<const kx::ipc::NamedMutexHandle *>(handle);
}

TEST(NamedMutex, lock_file_path_longer_than_256_bytes_is_refused) {
  // "<dir>/<data>/.ipc/.kxsupmtx<32 digits>" with its terminator must fit 256
  // bytes; the data directory's name is sized to land on each side.
  const size_t fixed = std::string("/tmp/kxsupt-ipc-XXXXXX/").size() + 5 + 10 + 32 + 1;
  {
    IpcSandbox fits(IpcSandbox::kSeeded, std::string(256 - fixed, 'd'));
    void *mutex = SMMutexCreate("long");
    ASSERT_NE(mutex, nullptr);
    EXPECT_EQ(std::string(AsMutex(mutex)->mutex.name).size() + 1, 256u);
    SMMutexDestroy(mutex);
  }
  IpcSandbox too_long(IpcSandbox::kSeeded, std::string(257 - fixed, 'd'));
  EXPECT_EQ(SMMutexCreate("long"), nullptr);
}

// Eight processes add 1 to a counter in a file 1,000 times each, reading and
// writing it with a pause in between: only the mutex keeps updates from
// being lost. Half of them open the mutex, half create it; half wait for
// ever, half with a bound.
TEST(NamedMutex, racy_counter_in_a_file_loses_nothing_across_eight_processes) {
  IpcSandbox sandbox;
  const std::string counter_path = sandbox.dir() + "/counter";
  ipctest::WriteFile(counter_path, std::string(sizeof(long), '\0'));
  void *mine = SMMutexCreate("counter");
  ASSERT_NE(mine, nullptr);
  constexpr int kProcesses = 8;
  constexpr int kRounds = 1000;
  Channel start;
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    children.push_back(Spawn([&, p] {
      void *mutex = p % 2 == 0 ? SMMutexOpen("counter") : SMMutexCreate("counter");
      const int fd = open(counter_path.c_str(), O_RDWR);
      if (mutex == nullptr || fd < 0) return 1;
      if (start.Receive() < 0) return 2;
      const uint32_t timeout = p % 4 < 2 ? SM_WAIT_FOREVER : 60000;
      for (int i = 0; i < kRounds; ++i) {
        if (SMMutexLock(mutex, timeout) != SM_STATUS_SUCCESS) return 3;
        long value = 0;
        if (pread(fd, &value, sizeof value, 0) != sizeof value) return 4;
        if (i % 16 == 0) sched_yield();
        value += 1;
        if (pwrite(fd, &value, sizeof value, 0) != sizeof value) return 5;
        if (SMMutexUnLock(mutex) != SM_STATUS_SUCCESS) return 6;
      }
      close(fd);
      SMMutexDestroy(mutex);
      return 0;
    }));
  }
  for (int p = 0; p < kProcesses; ++p) start.Send();
  for (pid_t child : children) EXPECT_EQ(Reap(child), 0);
  long total = 0;
  const int fd = open(counter_path.c_str(), O_RDONLY);
  ASSERT_EQ(pread(fd, &total, sizeof total, 0), static_cast<ssize_t>(sizeof total));
  close(fd);
  const long lost = long{kProcesses} * kRounds - total;
  RecordProperty("lost_updates", std::to_string(lost));
  EXPECT_EQ(lost, 0);
  SMMutexDestroy(mine);
}

// Two handles on one name in one process exclude each other too.
TEST(NamedMutex, two_handles_in_one_process_exclude_each_other) {
  IpcSandbox sandbox;
  void *first = SMMutexCreate("twice");
  void *second = SMMutexOpen("twice");
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  ASSERT_EQ(SMMutexLock(first, SM_WAIT_FOREVER), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMMutexLock(second, 0), SM_STATUS_TIMEOUT);
  // Destroying a third handle on the name does not drop the first's lock.
  SMMutexDestroy(SMMutexOpen("twice"));
  EXPECT_EQ(SMMutexLock(second, 0), SM_STATUS_TIMEOUT);
  EXPECT_EQ(SMMutexUnLock(first), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMMutexLock(second, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMMutexUnLock(second), SM_STATUS_SUCCESS);
  SMMutexDestroy(second);
  SMMutexDestroy(first);
}

// While another process holds the mutex, one try fails at once and a
// bounded wait sleeps 1 ms per 4 units of its time-out (400 units: at least
// 100 ms). Killed with SIGKILL, the holder lets the mutex go.
TEST(NamedMutex, bounded_waits_poll_and_a_holder_killed_with_sigkill_lets_go) {
  IpcSandbox sandbox;
  void *mutex = SMMutexCreate("killed holder");
  ASSERT_NE(mutex, nullptr);
  Channel locked;
  const pid_t holder = Spawn([&] {
    void *own = SMMutexOpen("killed holder");
    if (own == nullptr || SMMutexLock(own, SM_WAIT_FOREVER) != SM_STATUS_SUCCESS) return 1;
    locked.Send();
    pause();
    return 0;
  });
  ASSERT_EQ(locked.Receive(), '.');
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(SMMutexLock(mutex, 0), SM_STATUS_TIMEOUT);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  start = std::chrono::steady_clock::now();
  EXPECT_EQ(SMMutexLock(mutex, 400), SM_STATUS_TIMEOUT);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(100));
  EXPECT_LT(waited, std::chrono::seconds(20));
  kill(holder, SIGKILL);
  EXPECT_EQ(Reap(holder), 128 + SIGKILL);
  EXPECT_EQ(SMMutexLock(mutex, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMMutexUnLock(mutex), SM_STATUS_SUCCESS);
  SMMutexDestroy(mutex);
}

// A lock file that a process may only read gives it shared locks: two such
// processes hold the mutex at once, and a writer waits for both.
TEST(NamedMutex, read_only_lock_file_gives_shared_locking) {
  IpcSandbox sandbox;
  if (geteuid() != 0) GTEST_SKIP() << "needs root to act as another user";
  void *writer = SMMutexCreate_s("read only", 0x02000000u | 0x00020000u | 0x00000200u);  // 0444
  ASSERT_NE(writer, nullptr);
  for (const std::string &dir : {sandbox.dir(), sandbox.DataDir(), sandbox.IpcDir()}) {
    ASSERT_EQ(chmod(dir.c_str(), 0755), 0);
  }
  Channel locked, release;
  auto reader = [&] {
    if (setgid(65534) != 0 || setuid(65534) != 0) return 1;
    void *mutex = SMMutexOpen("read only");
    if (mutex == nullptr || static_cast<kx::ipc::NamedMutexHandle *>(mutex)->writable != 0)
      return 2;
    if (SMMutexLock(mutex, 0) != SM_STATUS_SUCCESS) return 3;
    locked.Send();
    release.Receive();
    return SMMutexUnLock(mutex) == SM_STATUS_SUCCESS ? 0 : 4;
  };
  const pid_t first = Spawn(reader);
  ASSERT_EQ(locked.Receive(), '.');
  const pid_t second = Spawn(reader);  // takes it with one try while the first holds it
  ASSERT_EQ(locked.Receive(), '.');
  EXPECT_EQ(SMMutexLock(writer, 0), SM_STATUS_TIMEOUT);
  release.Send();
  release.Send();
  EXPECT_EQ(Reap(first), 0);
  EXPECT_EQ(Reap(second), 0);
  EXPECT_EQ(SMMutexLock(writer, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMMutexUnLock(writer), SM_STATUS_SUCCESS);
  SMMutexDestroy(writer);
}

// A lock-file descriptor closed behind the handle's back is reopened.
TEST(NamedMutex, bad_descriptor_is_reopened_and_still_excludes) {
  IpcSandbox sandbox;
  void *mutex = SMMutexCreate("reopened");
  ASSERT_NE(mutex, nullptr);
  auto *handle = static_cast<kx::ipc::NamedMutexHandle *>(mutex);
  ASSERT_EQ(close(handle->lock_fd), 0);
  ASSERT_EQ(SMMutexLock(mutex, SM_WAIT_FOREVER), SM_STATUS_SUCCESS);
  const pid_t other = Spawn([] {
    void *own = SMMutexOpen("reopened");
    return own != nullptr && SMMutexLock(own, 0) == SM_STATUS_TIMEOUT ? 0 : 1;
  });
  EXPECT_EQ(Reap(other), 0);
  EXPECT_EQ(SMMutexUnLock(mutex), SM_STATUS_SUCCESS);
  // Once the file is gone as well, a bad descriptor cannot be replaced.
  ASSERT_EQ(close(handle->lock_fd), 0);
  ASSERT_EQ(unlink(handle->mutex.name), 0);
  EXPECT_EQ(SMMutexLock(mutex, 0), SM_STATUS_ERROR);
  SMMutexDestroy(mutex);
}

}  // namespace
