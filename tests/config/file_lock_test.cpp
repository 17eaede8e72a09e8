// The library's file lock with real processes: exclusion and sharing between
// processes, exclusion between handles of one process, a racy counter kept
// exact, the polling time-out, the lock file's name and the statuses; and,
// for INI and property files alike, the lock wait of the calls, their refusal
// without a registry, the roll-back of an interrupted rewrite and what a
// rewrite keeps (links, permissions) and leaves (nothing).
#include <gtest/gtest.h>
#include <kxsupt.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <set>
#include <string>

#include "config/file_lock.h"
#include "config/file_rewrite.h"
#include "config/ipc_paths.h"
#include "sandbox.h"

namespace {

using kx::Status;
using kxtest::Reap;
using kxtest::Sandbox;
using kxtest::Spawn;
namespace config = kx::config;

// A child that takes the lock in `mode`, reports on `ready` and holds the lock
// until `release` has a byte.
struct Holder {
  int ready[2], release[2];
  pid_t pid = -1;
  Holder(const char *name, uint32_t mode) {
    EXPECT_EQ(pipe(ready), 0);
    EXPECT_EQ(pipe(release), 0);
    pid = Spawn([&] {
      config::FileLockHandle *lock = config::FileLockOpen(name);
      if (lock == nullptr || config::FileLockLock(lock, mode, os_forever()) != Status::kSuccess) {
        return 1;
      }
      char byte = 'l';
      if (write(ready[1], &byte, 1) != 1 || read(release[0], &byte, 1) != 1) return 2;
      (void)config::FileLockUnlock(lock);
      config::FileLockClose(lock);
      return 0;
    });
    char byte;
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
  }
  static uint32_t os_forever() { return kx::os::kWaitForever; }
  int Release() {
    char byte = 'r';
    EXPECT_EQ(write(release[1], &byte, 1), 1);
    for (int fd : {ready[0], ready[1], release[0], release[1]}) close(fd);
    return Reap(pid);
  }
};

Status TryLock(const char *name, uint32_t mode, uint32_t timeout = 0) {
  config::FileLockHandle *lock = config::FileLockOpen(name);
  if (lock == nullptr) return Status::kNoMemory;
  Status status = config::FileLockLock(lock, mode, timeout);
  if (Ok(status)) (void)config::FileLockUnlock(lock);
  config::FileLockClose(lock);
  return status;
}

TEST(FileLock, writer_excludes_everyone_readers_share) {
  Sandbox sandbox;
  {
    Holder writer("/x/a.ini", config::kFileLockWrite);
    EXPECT_EQ(TryLock("/x/a.ini", config::kFileLockRead), Status::kTimeout);
    EXPECT_EQ(TryLock("/x/a.ini", config::kFileLockWrite), Status::kTimeout);
    EXPECT_EQ(TryLock("/x/b.ini", config::kFileLockWrite), Status::kSuccess);
    EXPECT_EQ(writer.Release(), 0);
  }
  EXPECT_EQ(TryLock("/x/a.ini", config::kFileLockWrite), Status::kSuccess);
  {
    Holder reader("/x/a.ini", config::kFileLockRead);
    EXPECT_EQ(TryLock("/x/a.ini", config::kFileLockRead), Status::kSuccess);
    EXPECT_EQ(TryLock("/x/a.ini", config::kFileLockWrite), Status::kTimeout);
    EXPECT_EQ(reader.Release(), 0);
  }
}

TEST(FileLock, handles_of_one_process_exclude_each_other) {
  Sandbox sandbox;
  config::FileLockHandle *first = config::FileLockOpen("shared");
  ASSERT_NE(first, nullptr);
  ASSERT_EQ(config::FileLockLock(first, config::kFileLockWrite, 0), Status::kSuccess);
  EXPECT_EQ(TryLock("shared", config::kFileLockRead), Status::kTimeout);
  // Closing another handle on the same lock file keeps the first one's lock.
  config::FileLockHandle *second = config::FileLockOpen("shared");
  EXPECT_EQ(config::FileLockLock(second, config::kFileLockRead, 0), Status::kTimeout);
  config::FileLockClose(second);
  pid_t child = Spawn([] { return TryLock("shared", config::kFileLockRead) == Status::kTimeout; });
  EXPECT_EQ(Reap(child), 1);
  EXPECT_EQ(config::FileLockUnlock(first), Status::kSuccess);
  EXPECT_EQ(config::FileLockUnlock(first), Status::kInvalidParameter);
  EXPECT_EQ(TryLock("shared", config::kFileLockWrite), Status::kSuccess);
  config::FileLockClose(first);
}

TEST(FileLock, racy_counter_stays_exact_across_processes) {
  Sandbox sandbox;
  const std::string counter = sandbox.Path("counter");
  kxtest::WriteFile(counter, "0");
  constexpr int kProcesses = 6, kRounds = 300;
  pid_t children[kProcesses];
  for (pid_t &child : children) {
    child = Spawn([&] {
      config::FileLockHandle *lock = config::FileLockOpen(counter.c_str());
      for (int round = 0; round < kRounds; ++round) {
        // Alternate waiting and polled acquisition.
        uint32_t timeout = round % 2 ? kx::os::kWaitForever : 100000;
        if (config::FileLockLock(lock, config::kFileLockWrite, timeout) != Status::kSuccess) {
          return 1;
        }
        long value = std::stol(kxtest::ReadFile(counter));
        kxtest::WriteFile(counter, std::to_string(value + 1));
        (void)config::FileLockUnlock(lock);
      }
      config::FileLockClose(lock);
      return 0;
    });
  }
  for (pid_t child : children) EXPECT_EQ(Reap(child), 0);
  EXPECT_EQ(std::stol(kxtest::ReadFile(counter)), kProcesses * kRounds);
}

TEST(FileLock, bounded_wait_polls_at_four_units_per_millisecond) {
  Sandbox sandbox;
  Holder writer("held", config::kFileLockWrite);
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(TryLock("held", config::kFileLockWrite, 40), Status::kTimeout);
  auto elapsed = std::chrono::steady_clock::now() - start;
  // Ten sleeps of one millisecond; the upper bound only guards against a wait
  // that ignores the time-out.
  EXPECT_GE(elapsed, std::chrono::milliseconds(10));
  EXPECT_LT(elapsed, std::chrono::seconds(5));
  EXPECT_EQ(writer.Release(), 0);
}

TEST(FileLock, lock_file_name_mode_and_statuses) {
  Sandbox sandbox;
  char digest[33];
  uint32_t size = sizeof digest;
  ASSERT_EQ(config::NameDigest("/x/a.ini", digest, &size), Status::kSuccess);
  const std::string file = sandbox.IpcDir() + "/.kxsupflk" + digest;
  config::FileLockHandle *lock = config::FileLockOpen("/x/a.ini");
  ASSERT_NE(lock, nullptr);
  EXPECT_EQ(std::string(lock->name), file);
  EXPECT_FALSE(kxtest::FileExists(sandbox.IpcDir()));  // nothing until the first lock
  EXPECT_EQ(config::FileLockLock(lock, 3, 0), Status::kInvalidParameter);
  EXPECT_EQ(config::FileLockLock(lock, 0, 0), Status::kInvalidParameter);
  ASSERT_EQ(config::FileLockLock(lock, config::kFileLockRead, 0), Status::kSuccess);
  struct stat info;
  ASSERT_EQ(stat(file.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  EXPECT_EQ(config::FileLockUnlock(lock), Status::kSuccess);
  config::FileLockClose(lock);
  EXPECT_TRUE(kxtest::FileExists(file));  // lock files stay

  EXPECT_EQ(config::FileLockLock(nullptr, 1, 0), Status::kInvalidParameter);
  EXPECT_EQ(config::FileLockUnlock(nullptr), Status::kInvalidParameter);
  config::FileLockHandle wrong{};
  wrong.kind = config::kIpcMutex;
  EXPECT_EQ(config::FileLockLock(&wrong, 1, 0), Status::kInvalidParameter);
  config::FileLockClose(nullptr);
  EXPECT_EQ(config::FileLockOpen(nullptr), nullptr);
  EXPECT_EQ(config::FileLockOpen(""), nullptr);
  EXPECT_EQ(config::FileLockTimeoutForFlags(1), kx::os::kWaitForever);
  EXPECT_EQ(config::FileLockTimeoutForFlags(2), 0u);
}

TEST(FileLock, denied_lock_file_is_access_denied) {
  Sandbox sandbox;
  config::FileLockHandle *lock = config::FileLockOpen("x");
  ASSERT_NE(lock, nullptr);
  const std::string file = lock->name;
  config::FileLockClose(lock);
  ASSERT_EQ(TryLock("x", config::kFileLockWrite), Status::kSuccess);
  ASSERT_EQ(chmod(file.c_str(), 0), 0);
  pid_t child = Spawn([] {
    // The superuser ignores file modes: become a user who cannot reach the
    // sandbox's (0700) directory either.
    if (getuid() == 0 && setresuid(65534, 65534, 65534) != 0) return 100;
    return TryLock("x", config::kFileLockWrite) == Status::kAccessDenied ? 0 : 101;
  });
  int result = Reap(child);
  if (result == 100) GTEST_SKIP() << "cannot change user";
  EXPECT_EQ(result, 0);
}

// INI and property files through the exported calls, on a key k.
struct ConfigFormat {
  const char *name;
  std::function<std::string(const char *value)> text;  // a file holding k=value
  std::function<SMStatus(const std::string &path, const char *value, uint32_t flags)> set;
  std::function<SMStatus(const std::string &path, char *value, uint32_t *size, const char *def,
                         uint32_t flags)>
      get;
};

const ConfigFormat kFormats[] = {
    {"a.ini", [](const char *v) { return std::string("[s]\nk=").append(v).append("\n"); },
     [](const std::string &path, const char *v, uint32_t flags) {
       return SMWriteINIPathFileValue("s", "k", 1, v, static_cast<uint32_t>(strlen(v) + 1),
                                      path.c_str(), flags);
     },
     [](const std::string &path, char *v, uint32_t *size, const char *def, uint32_t flags) {
       return SMReadINIPathFileValue("s", "k", 1, v, size, def, def ? 2 : 0, path.c_str(), flags);
     }},
    {"a.properties", [](const char *v) { return std::string("k=").append(v).append("\n"); },
     [](const std::string &path, const char *v, uint32_t flags) {
       return SMPropertyFileWriteValue("k", SM_XLT_UTF8_STRING, v,
                                       static_cast<uint32_t>(strlen(v) + 1), path.c_str(), flags);
     },
     [](const std::string &path, char *v, uint32_t *size, const char *def, uint32_t flags) {
       return SMPropertyFileReadValue("k", SM_XLT_UTF8_STRING, v, size, def, def ? 2 : 0,
                                      path.c_str(), flags);
     }},
};

// k's value, or "" when the read fails.
std::string Get(const ConfigFormat &format, const std::string &path) {
  char value[64];
  uint32_t size = sizeof value;
  return format.get(path, value, &size, nullptr, 1) == 0 ? value : "";
}

TEST(ConfigFileLock, a_held_lock_fails_one_try_and_waits_otherwise) {
  Sandbox sandbox;
  for (const ConfigFormat &format : kFormats) {
    SCOPED_TRACE(format.name);
    const std::string path = sandbox.Path(format.name);
    kxtest::WriteFile(path, format.text("1"));
    int ready[2], release[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(release), 0);
    const pid_t holder = Spawn([&] {
      config::ConfigFileSession session;
      char byte = Ok(session.Begin(path.c_str(), config::kFileLockWrite, 1)) ? 'y' : 'n';
      return write(ready[1], &byte, 1) == 1 && read(release[0], &byte, 1) == 1 ? 0 : 2;
    });
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    ASSERT_EQ(byte, 'y');
    char value[8];
    uint32_t size = sizeof value;
    EXPECT_EQ(format.get(path, value, &size, nullptr, 0), SM_STATUS_TIMEOUT);
    EXPECT_EQ(format.set(path, "2", 2), SM_STATUS_TIMEOUT);
    EXPECT_EQ(format.set(path, "2", 0), SM_STATUS_TIMEOUT);
    ASSERT_EQ(write(release[1], &byte, 1), 1);
    EXPECT_EQ(format.set(path, "3", 1), 0u);  // waits for the holder to finish
    EXPECT_EQ(Reap(holder), 0);
    EXPECT_EQ(Get(format, path), "3");
    for (int fd : {ready[0], ready[1], release[0], release[1]}) close(fd);
  }
}

TEST(ConfigFileLock, without_a_registry_no_lock_can_be_made) {
  // The file lock lives in the registry's data directory; without a registry
  // no configuration file can be reached.
  kxtest::UnloadLibrary();
  char pattern[] = "/tmp/kxsupt-noreg-XXXXXX";
  const std::string dir = mkdtemp(pattern);
  for (const ConfigFormat &format : kFormats) {
    const std::string path = dir + "/" + format.name;
    kxtest::WriteFile(path, format.text("v"));
    char value[8];
    uint32_t size = sizeof value;
    EXPECT_EQ(format.get(path, value, &size, "d", 1), SM_STATUS_NO_MEMORY) << format.name;
    EXPECT_STREQ(value, "d");
    EXPECT_EQ(format.set(path, "w", 1), SM_STATUS_NO_MEMORY) << format.name;
    EXPECT_EQ(kxtest::ReadFile(path), format.text("v"));
  }
  std::filesystem::remove_all(dir);
}

TEST(ConfigFileLock, an_interrupted_rewrite_is_rolled_back) {
  Sandbox sandbox;
  for (const ConfigFormat &format : kFormats) {
    SCOPED_TRACE(format.name);
    const std::string path = sandbox.Path(format.name), backup = config::BackupName(path);
    // The writer died after moving the file aside: only the backup is left.
    kxtest::WriteFile(backup, format.text("old"));
    EXPECT_EQ(Get(format, path), "old");
    EXPECT_FALSE(kxtest::FileExists(backup));
    // It died after moving the copy in: the old content still wins.
    kxtest::WriteFile(path, format.text("half"));
    kxtest::WriteFile(backup, format.text("older"));
    EXPECT_EQ(Get(format, path), "older");
    kxtest::WriteFile(backup, format.text("oldest"));
    ASSERT_EQ(format.set(path, "new", 1), 0u);
    EXPECT_EQ(kxtest::ReadFile(path), format.text("new"));
    EXPECT_FALSE(kxtest::FileExists(backup));
  }
  EXPECT_EQ(kxtest::DirectoryEntries(sandbox.dir()),
            (std::set<std::string>{"a.ini", "a.properties", "var", "vqreg.cfg"}));
}

TEST(ConfigFileLock, a_write_through_a_link_keeps_the_link_and_the_permissions) {
  Sandbox sandbox;
  std::filesystem::create_directory(sandbox.Path("d"));
  for (const ConfigFormat &format : kFormats) {
    SCOPED_TRACE(format.name);
    const std::string target = sandbox.Path("d/") + format.name;
    const std::string link = sandbox.Path("link-") + format.name;
    kxtest::WriteFile(target, format.text("1"));
    ASSERT_EQ(chmod(target.c_str(), 0640), 0);
    std::filesystem::create_symlink(std::string("d/") + format.name, link);
    ASSERT_EQ(format.set(link, "2", 1), 0u);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(kxtest::ReadFile(target), format.text("2"));
    EXPECT_EQ(Get(format, link), "2");
    struct stat info;
    ASSERT_EQ(stat(target.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
  }
  EXPECT_EQ(kxtest::DirectoryEntries(sandbox.Path("d")),
            (std::set<std::string>{"a.ini", "a.properties"}));
}

}  // namespace
