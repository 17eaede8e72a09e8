// Named mutexes with real processes: the lock file's name and permission,
// the opening rules (write-only, else read-only with shared locking), a racy
// counter kept exact across eight processes, a holder killed with SIGKILL,
// the polling pace, a descriptor that went bad, and the handle checks.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "ipc_sandbox.h"
#include "kxsupt/ipc.h"
#include "ipc/mutex.h"

namespace {

using ipctest::Channel;
using ipctest::IpcSandbox;
using ipctest::Reap;
using ipctest::Spawn;

// The name digest as an independent MD5 computes it: the name with its
// terminating zero, in upper-case hexadecimal.
std::string Digest(const std::string &name) {
  unsigned char digest[16];
  unsigned int size = 0;
  EVP_Digest(name.c_str(), name.size() + 1, digest, &size, EVP_md5(), nullptr);
  static const char kHex[] = "0123456789ABCDEF";
  std::string text;
  for (unsigned char byte : digest) {
    text += kHex[byte >> 4];
    text += kHex[byte & 15];
  }
  return text;
}

const kx::ipc::NamedMutexHandle *AsMutex(void *handle) {
  return static_cast<const kx::ipc::NamedMutexHandle *>(handle);
}

mode_t FileMode(const std::string &path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 07777;
}

// Permission bits of an access-rights word, spelled out from the table:
// nibble bit 0 is rwx, else bits 1, 2, 3 are r, w, x.
mode_t ModelPermission(uint32_t word) {
  if (word == 0xFFFFFFFFu) return 0664;
  if (word == 0) return 0600;
  mode_t mode = 0;
  const int shifts[3][2] = {{24, 6}, {16, 3}, {8, 0}};
  for (const auto &[from, to] : shifts) {
    const uint32_t nibble = (word >> from) & 15;
    mode_t bits =
        (nibble & 1) ? 7 : ((nibble & 2) ? 4 : 0) | ((nibble & 4) ? 2 : 0) | ((nibble & 8) ? 1 : 0);
    mode |= bits << to;
  }
  return mode;
}

TEST(NamedMutex, lock_file_is_named_by_digest_and_keeps_its_permission) {
  IpcSandbox sandbox;
  const mode_t old_mask = umask(077);  // must not narrow what the caller asked for
  void *mutex = SMMutexCreate("alpha");
  ASSERT_NE(mutex, nullptr);
  const std::string path = sandbox.IpcDir() + "/.kxsupmtx" + Digest("alpha");
  EXPECT_STREQ(AsMutex(mutex)->mutex.name, path.c_str());
  EXPECT_EQ(FileMode(path), 0664u);
  EXPECT_EQ(AsMutex(mutex)->writable, 1);

  const uint32_t words[] = {0u,          0x01000000u, 0x02000000u, 0x06060600u, 0x0E0A0200u,
                            0x0F0F0F00u, 0x00000100u, 0x10000000u, 0x00000080u, 0x0C040800u};
  for (uint32_t word : words) {
    const std::string name = "rights " + std::to_string(word);
    void *made = SMMutexCreate_s(name.c_str(), word);
    ASSERT_NE(made, nullptr) << word;
    EXPECT_EQ(FileMode(AsMutex(made)->mutex.name), ModelPermission(word)) << std::hex << word;
    SMMutexDestroy(made);
  }
  // An existing lock file keeps its permission.
  void *again = SMMutexCreate_s("alpha", 0);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(FileMode(path), 0664u);
  SMMutexDestroy(again);
  umask(old_mask);
  SMMutexDestroy(mutex);
  EXPECT_TRUE(std::filesystem::exists(path));  // lock files are never deleted
}

TEST(NamedMutex, open_needs_an_existing_lock_file_and_names_must_not_be_empty) {
  IpcSandbox sandbox;
  EXPECT_EQ(SMMutexOpen("never made"), nullptr);
  EXPECT_FALSE(std::filesystem::exists(sandbox.IpcDir() + "/.kxsupmtx" + Digest("never made")));
  EXPECT_EQ(SMMutexOpen(nullptr), nullptr);
  EXPECT_EQ(SMMutexOpen(""), nullptr);
  EXPECT_EQ(SMMutexCreate(""), nullptr);
  void *made = SMMutexCreate("beta");
  ASSERT_NE(made, nullptr);
  void *opened = SMMutexOpen("beta");
  ASSERT_NE(opened, nullptr);
  EXPECT_STREQ(AsMutex(opened)->mutex.name, AsMutex(made)->mutex.name);
  SMMutexDestroy(opened);
  SMMutexDestroy(made);
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

TEST(NamedMutex, holder_killed_with_sigkill_lets_the_mutex_go) {
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
  EXPECT_EQ(SMMutexLock(mutex, 0), SM_STATUS_TIMEOUT);
  kill(holder, SIGKILL);
  EXPECT_EQ(Reap(holder), 128 + SIGKILL);
  EXPECT_EQ(SMMutexLock(mutex, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMMutexUnLock(mutex), SM_STATUS_SUCCESS);
  SMMutexDestroy(mutex);
}

// A bounded wait on a mutex that another process holds sleeps 1 ms per 4
// units of its time-out: 400 units make 100 sleeps, so at least 100 ms.
TEST(NamedMutex, bounded_wait_polls_one_millisecond_per_four_units) {
  IpcSandbox sandbox;
  void *mutex = SMMutexCreate("paced");
  ASSERT_NE(mutex, nullptr);
  Channel locked, release;
  const pid_t holder = Spawn([&] {
    void *own = SMMutexOpen("paced");
    if (own == nullptr || SMMutexLock(own, SM_WAIT_FOREVER) != SM_STATUS_SUCCESS) return 1;
    locked.Send();
    release.Receive();
    return SMMutexUnLock(own) == SM_STATUS_SUCCESS ? 0 : 2;
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
  release.Send();
  EXPECT_EQ(Reap(holder), 0);
  EXPECT_EQ(SMMutexLock(mutex, 400), SM_STATUS_SUCCESS);
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
    if (mutex == nullptr || static_cast<kx::ipc::NamedMutexHandle *>(mutex)->writable != 0) return 2;
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

TEST(NamedMutex, null_and_foreign_handles_are_refused) {
  IpcSandbox sandbox;
  EXPECT_EQ(SMMutexLock(nullptr, 0), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMMutexUnLock(nullptr), SM_STATUS_INVALID_PARAMETER);
  SMMutexDestroy(nullptr);
  // Another family's handle: its kind word says so.
  for (uint32_t kind : {2u, 3u, 4u, 5u, 6u}) {
    struct {
      uint32_t kind;
      const char *name;
      char fields[64];
    } foreign{kind, nullptr, {}};
    EXPECT_EQ(SMMutexLock(&foreign, 0), SM_STATUS_OS_FAILURE);
    EXPECT_EQ(SMMutexUnLock(&foreign), SM_STATUS_OS_FAILURE);
    SMMutexDestroy(&foreign);  // ignored: nothing is freed
  }
}

}  // namespace
