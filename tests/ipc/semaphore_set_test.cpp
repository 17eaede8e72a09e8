// Semaphore-set creation and the "Semaphore List": identifier 0 never
// reaches a caller (in a fresh IPC namespace the kernel really hands it
// out), the system-log messages for lack of memory and for the set limit
// (read back from a datagram receiver), unnamed sets listed and forgotten,
// and the removal at attach of the sets of a process killed with SIGKILL.
#include <gtest/gtest.h>
#include <errno.h>
#include <sched.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "ipc/key_registry.h"
#include "ipc/sysv.h"
#include "ipc_sandbox.h"
#include "kxsupt/ipc.h"
#include "log/system_log.h"
#include "os/semaphore.h"

namespace {

using ipctest::Channel;
using ipctest::IpcSandbox;
using ipctest::ReadFile;
using ipctest::Reap;
using ipctest::Spawn;
using ipctest::WriteFile;
namespace ipc = kx::ipc;

bool SetExists(int set_id) {
  struct semid_ds info {};
  return semctl(set_id, 0, IPC_STAT, &info) == 0;
}

// A unix datagram socket that the library's system-log writer is pointed at.
class LogReceiver {
 public:
  explicit LogReceiver(const std::string &dir) : path_(dir + "/log") {
    fd_ = socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path_.c_str());
    bound_ = bind(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    timeval wait{5, 0};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    kx::log::SetSystemLogSocketForTesting(path_.c_str());
  }
  ~LogReceiver() {
    kx::log::SetSystemLogSocketForTesting(nullptr);
    close(fd_);
    unlink(path_.c_str());
  }
  bool bound() const { return bound_; }
  // The next datagram whole, "" when none comes.
  std::string Next() const {
    char buffer[4096];
    const ssize_t got = recv(fd_, buffer, sizeof buffer, 0);
    return got > 0 ? std::string(buffer, static_cast<size_t>(got)) : "";
  }
  bool Quiet() const {
    char byte;
    return recv(fd_, &byte, 1, MSG_DONTWAIT) < 0;
  }

 private:
  std::string path_;
  int fd_ = -1;
  bool bound_ = false;
};

const char kOutOfMemory[] =
    "A semaphore set could not be created because the system has not enough memory for the new "
    "data structure\n";
const char kSetLimit[] =
    "A semaphore set has to be created but the system limit for the maximum number of semaphore "
    "sets has been exceeded\n";

// The message part of a datagram "<PRI>Mmm dd hh:mm:ss identity: message".
std::string Message(const std::string &datagram, std::string *identity) {
  const size_t head = datagram.find('>') + 1 + 16;
  const size_t colon = datagram.find(": ", head);
  if (head > datagram.size() || colon == std::string::npos) return "";
  *identity = datagram.substr(head, colon - head);
  return datagram.substr(colon + 2);
}

// Runs `body` in a child inside an IPC namespace of its own, where the
// kernel's first set gets identifier 0 and limits can be lowered; the
// namespace and all its objects go with the child. 77 when the system does
// not allow a namespace.
int InFreshIpcNamespace(const std::function<int()> &body) {
  return Reap(Spawn([&] { return unshare(CLONE_NEWIPC) == 0 ? body() : 77; }));
}

TEST(SemaphoreSet, identifier_0_never_reaches_the_caller) {
  IpcSandbox sandbox;
  const int result = InFreshIpcNamespace([] {
    // A private probe would be the namespace's first set: identifier 0.
    void *semaphore = SMSemaphoreCreate("first in namespace", 3);
    if (semaphore == nullptr) return 1;
    const int set_id = static_cast<kx::os::SemaphoreHandle *>(semaphore)->object.set_id;
    if (set_id == 0 || semctl(set_id, 0, GETVAL) != 3) return 2;
    // Set 0 was removed, the placeholder too: this set is the only one.
    const std::vector<ipctest::SysvObject> objects = ipctest::ListSysvObjects();
    if (objects.size() != 1 || objects[0].id != set_id) return 3;
    if (SetExists(0)) return 4;
    SMSemaphoreDestroy(semaphore);
    return 0;
  });
  if (result == 77) GTEST_SKIP() << "no IPC namespace for this process";
  EXPECT_EQ(result, 0);
}

// The set limit, lowered to one set in a namespace of its own, is reached
// for real; the library says so in the system log under its own identity.
TEST(SemaphoreSet, set_limit_is_reported_to_the_system_log) {
  IpcSandbox sandbox;
  LogReceiver log(sandbox.dir());
  ASSERT_TRUE(log.bound());
  const int result = InFreshIpcNamespace([] {
    std::ofstream("/proc/sys/kernel/sem") << "250 32000 32 1\n";
    if (semget(IPC_PRIVATE, 1, IPC_CREAT | 0600) < 0) return 1;  // the one set allowed
    return SMSemaphoreCreate("over the limit", 0) == nullptr ? 0 : 2;
  });
  if (result == 77) GTEST_SKIP() << "no IPC namespace for this process";
  ASSERT_EQ(result, 0);
  std::string identity;
  EXPECT_EQ(Message(log.Next(), &identity), std::string("Core Broker EventID: 0  ") + kSetLimit);
  EXPECT_EQ(identity, "Tarvex (Shared Library)");
  EXPECT_TRUE(log.Quiet());
}

int g_fail_errno = 0;
int FailingSemget(key_t, int, int) {
  errno = g_fail_errno;
  return -1;
}

// Lack of memory cannot be had for real: the creation call is replaced.
// Only the two named conditions are reported.
TEST(SemaphoreSet, only_lack_of_memory_and_the_limit_are_reported) {
  IpcSandbox sandbox;
  LogReceiver log(sandbox.dir());
  ASSERT_TRUE(log.bound());
  const uint32_t key = ipc::KeyForName("kxsupsmpINJECTED");
  ASSERT_NE(key, 0u);
  auto real = ipc::Sysv().semget;
  ipc::Sysv().semget = &FailingSemget;
  std::string identity;
  g_fail_errno = ENOMEM;
  EXPECT_EQ(ipc::CreateSemaphoreSet(key, 1, 0, 0), 0);
  EXPECT_EQ(Message(log.Next(), &identity), std::string("Core Broker EventID: 0  ") + kOutOfMemory);
  g_fail_errno = ENOSPC;
  EXPECT_EQ(ipc::CreateSemaphoreSet(key, 1, 0, 0), 0);
  EXPECT_EQ(Message(log.Next(), &identity), std::string("Core Broker EventID: 0  ") + kSetLimit);
  for (int error : {EACCES, EINVAL, ENOENT}) {
    g_fail_errno = error;
    EXPECT_EQ(ipc::CreateSemaphoreSet(key, 1, 0, 0), 0);
  }
  ipc::Sysv().semget = real;
  EXPECT_TRUE(log.Quiet());
}

// Unnamed sets are listed under their identifiers with their creators'
// process ids. A process that made some is killed; the next process that
// loads the library removes its sets and their entries, and keeps the
// entries of living processes and of sets that are already gone.
TEST(SemaphoreSet, sets_of_a_killed_process_are_removed_by_the_next_attach) {
  IpcSandbox sandbox;
  Channel made;
  int dead_sets[2] = {0, 0};
  int pipe_fds[2];
  ASSERT_EQ(pipe(pipe_fds), 0);
  const pid_t victim = Spawn([&] {
    int ids[2] = {ipc::CreateSemaphoreSet(0, 1, 0, 0), ipc::CreateSemaphoreSet(0, 2, 0, 1)};
    if (write(pipe_fds[1], ids, sizeof ids) != sizeof ids) return 1;
    pause();
    return 0;
  });
  ASSERT_EQ(read(pipe_fds[0], dead_sets, sizeof dead_sets), static_cast<ssize_t>(sizeof dead_sets));
  close(pipe_fds[0]);
  close(pipe_fds[1]);
  kill(victim, SIGKILL);
  ASSERT_EQ(Reap(victim), 128 + SIGKILL);
  ASSERT_TRUE(SetExists(dead_sets[0]) && SetExists(dead_sets[1]));
  const int living_set = ipc::CreateSemaphoreSet(0, 1, 0, 5);
  ASSERT_GT(living_set, 0);
  EXPECT_EQ(semctl(living_set, 0, GETVAL), 5);
  // An entry of a dead process whose set is already gone: nothing to remove.
  const std::string gone = "2147480000=99999999";
  std::string registry = ReadFile(sandbox.KeyRegistry());
  registry.insert(registry.find("[Semaphore List]\n") + 17, gone + "\n");
  WriteFile(sandbox.KeyRegistry(), registry);

  const pid_t next = Spawn([&] { return sandbox.Reload() ? 0 : 1; });
  EXPECT_EQ(Reap(next), 0);
  EXPECT_FALSE(SetExists(dead_sets[0]));
  EXPECT_FALSE(SetExists(dead_sets[1]));
  EXPECT_TRUE(SetExists(living_set));
  registry = ReadFile(sandbox.KeyRegistry());
  EXPECT_EQ(registry.find(std::to_string(dead_sets[0]) + "="), std::string::npos);
  EXPECT_EQ(registry.find(std::to_string(dead_sets[1]) + "="), std::string::npos);
  EXPECT_NE(registry.find(std::to_string(living_set) + "=" + std::to_string(getpid())),
            std::string::npos);
  EXPECT_NE(registry.find(gone), std::string::npos);
  ipc::ForgetSemaphoreSet(living_set);
  EXPECT_EQ(ReadFile(sandbox.KeyRegistry()).find(std::to_string(living_set) + "="),
            std::string::npos);
  EXPECT_EQ(semctl(living_set, 0, IPC_RMID), 0);
}

// A list longer than the 8,193-byte read is worked on as far as it fits.
TEST(SemaphoreSet, attach_works_through_the_part_of_a_long_list_that_fits) {
  IpcSandbox sandbox;
  std::string list = "[Semaphore List]\n";
  std::vector<int> sets;
  for (int i = 0; i < 3; ++i) {
    sets.push_back(semget(IPC_PRIVATE, 1, IPC_CREAT | 0600));
    ASSERT_GE(sets.back(), 0);
    list += std::to_string(sets.back()) + "=99999999\n";
  }
  for (int i = 0; i < 1000; ++i) list += std::to_string(2100000000 + i) + "=99999999\n";
  WriteFile(sandbox.KeyRegistry(), ReadFile(sandbox.KeyRegistry()) + "\n" + list);
  ASSERT_TRUE(sandbox.Reload());
  for (int set_id : sets) EXPECT_FALSE(SetExists(set_id)) << set_id;
  EXPECT_EQ(ReadFile(sandbox.KeyRegistry()).find(std::to_string(sets[0]) + "="), std::string::npos);
}

TEST(SemaphoreSet, attach_fails_without_a_data_directory) {
  IpcSandbox sandbox;
  const std::string registry = sandbox.dir() + "/vqreg.cfg";
  const std::string saved = ReadFile(registry);
  WriteFile(registry, "tesk.installpath=/nowhere\n");
  EXPECT_FALSE(sandbox.Reload());
  EXPECT_EQ(SMSemaphoreCreate("no paths", 0), nullptr);
  WriteFile(registry, saved);
  EXPECT_TRUE(sandbox.Reload());
}

}  // namespace
