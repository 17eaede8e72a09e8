// What every IPC family shares: the operating-system name of each kind (a
// prefix and the digest of the caller's name); each family refuses null
// handles and the handles of the others (their kind word says so) and leaves
// them intact; names must be given; and the permission of a new object
// follows the access-rights word, checked against a model of its table.
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "ipc/event.h"
#include "ipc/mutex.h"
#include "ipc/rwlock.h"
#include "ipc/shared_memory.h"
#include "ipc_sandbox.h"
#include "kxsupt/ipc.h"
#include "os/semaphore.h"

namespace {

using ipctest::IpcSandbox;

// One family's operations on a handle and their statuses (the address
// counts as a success when given, else as the failure); its destroy.
struct Family {
  const char *name;
  std::function<std::vector<SMStatus>(void *)> calls;
  std::function<void(void *)> destroy;
  SMStatus refused_null = SM_STATUS_INVALID_PARAMETER;
  SMStatus refused_foreign = SM_STATUS_OS_FAILURE;
};

const Family kFamilies[] = {
    {"mutex",
     [](void *h) {
       return std::vector<SMStatus>{SMMutexLock(h, 0), SMMutexUnLock(h)};
     },
     SMMutexDestroy},
    {"semaphore",
     [](void *h) {
       return std::vector<SMStatus>{SMSemaphoreRelease(h, 1, nullptr),
                                    SMSemaphoreAcquireWait(h, 0)};
     },
     SMSemaphoreDestroy},
    {"shared memory",
     [](void *h) {
       return std::vector<SMStatus>{SMSharedMemGetAddressPtr(h) ? SM_STATUS_SUCCESS
                                                                : SM_STATUS_FAILED};
     },
     SMSharedMemFree, SM_STATUS_FAILED, SM_STATUS_FAILED},
    {"event",
     [](void *h) {
       return std::vector<SMStatus>{SMEventSet(h), SMEventWait(h, 0), SMEventPulse(h),
                                    SMEventReset(h)};
     },
     SMEventDestroy},
    {"reader-writer lock",
     [](void *h) {
       return std::vector<SMStatus>{SMRWLReadLockGet(h, 0), SMRWLReadLockRelease(h),
                                    SMRWLWriteLockGet(h, 0), SMRWLWriteLockRelease(h)};
     },
     SMRWLDestroy},
};

TEST(Handles, names_of_every_kind_and_refusal_of_null_and_foreign_handles) {
  IpcSandbox sandbox;
  struct Made {
    size_t family;  // index into kFamilies
    void *handle;
  };
  const std::vector<Made> made = {
      {0, SMMutexCreate("m")},           {0, SMMutexCreate(nullptr)},
      {1, SMSemaphoreCreate("s", 0)},    {1, SMSemaphoreCreate(nullptr, 0)},
      {2, SMSharedMemCreate("h", 64)},   {3, SMEventCreate("e", 1, 0)},
      {3, SMEventCreate(nullptr, 0, 0)}, {4, SMRWLCreate("r")},
      {4, SMRWLCreate(nullptr)}};
  // Each kind's name; a reader-writer lock's parts are named after the
  // lock's own, its two gates are one set, and the lock itself has no key.
  const std::string digest = ipctest::NameDigest("thing");
  void *named[] = {SMMutexCreate("thing"), SMSemaphoreCreate("thing", 0),
                   SMSharedMemCreate("thing", 64), SMEventCreate("thing", 1, 0),
                   SMRWLCreate("thing")};  // in the order of kFamilies
  ASSERT_TRUE(named[0] && named[1] && named[2] && named[3] && named[4]);
  auto *mutex = static_cast<kx::ipc::NamedMutexHandle *>(named[0]);
  EXPECT_EQ(mutex->mutex.name, sandbox.IpcDir() + "/.kxsupmtx" + digest);
  EXPECT_EQ(mutex->writable, 1);
  EXPECT_EQ(static_cast<kx::os::SemaphoreHandle *>(named[1])->name, "kxsupsmp" + digest);
  EXPECT_EQ(static_cast<kx::ipc::EventHandle *>(named[3])->name, "kxsupevt" + digest);
  EXPECT_EQ(static_cast<kx::ipc::SharedMemoryHandle *>(named[2])->name, "kxsupshm" + digest);
  auto *rwl = static_cast<kx::ipc::RwLockHandle *>(named[4]);
  const std::string parts = ipctest::NameDigest("kxsuprwl" + digest);
  EXPECT_EQ(rwl->name, "kxsuprwl" + digest);
  EXPECT_EQ(rwl->guard->name, sandbox.IpcDir() + "/.kxsupmtx" + parts);
  EXPECT_EQ(rwl->reader_gate->name, "kxsupsmp" + parts);
  EXPECT_EQ(rwl->reader_gate->object.set_id, rwl->writer_gate->object.set_id);
  const std::string registry = ipctest::ReadFile(sandbox.KeyRegistry());
  for (const std::string &name :
       {"kxsupsmp" + digest, "kxsupevt" + digest, "kxsupshm" + digest, "kxsupsmp" + parts}) {
    EXPECT_NE(registry.find("\n" + name + "="), std::string::npos) << name;
  }
  EXPECT_EQ(registry.find("kxsuprwl"), std::string::npos);
  for (size_t f = 0; f < std::size(kFamilies); ++f) kFamilies[f].destroy(named[f]);

  // A file lock's handle (kind 6) belongs to no family here.
  struct {
    uint32_t kind;
    const char *name;
    char fields[64];
  } file_lock{6, nullptr, {}};
  for (size_t f = 0; f < std::size(kFamilies); ++f) {
    const Family &family = kFamilies[f];
    SCOPED_TRACE(family.name);
    for (SMStatus status : family.calls(nullptr)) EXPECT_EQ(status, family.refused_null);
    family.destroy(nullptr);
    std::vector<void *> foreign = {&file_lock};
    for (const Made &m : made) {
      ASSERT_NE(m.handle, nullptr);
      if (m.family != f) foreign.push_back(m.handle);
    }
    for (void *handle : foreign) {
      for (SMStatus status : family.calls(handle)) EXPECT_EQ(status, family.refused_foreign);
      family.destroy(handle);  // ignored: nothing is freed or removed
    }
  }
  EXPECT_EQ(file_lock.kind, 6u);
  // The count is checked before the handle.
  EXPECT_EQ(SMSemaphoreRelease(made[0].handle, 0, nullptr), SM_STATUS_INVALID_PARAMETER);
  for (const Made &m : made) {
    SCOPED_TRACE(kFamilies[m.family].name);
    for (SMStatus status : kFamilies[m.family].calls(m.handle)) {
      EXPECT_EQ(status, SM_STATUS_SUCCESS);
    }
    kFamilies[m.family].destroy(m.handle);
  }
}

TEST(Handles, names_must_be_given_and_opened_objects_must_exist) {
  IpcSandbox sandbox;
  const std::vector<std::pair<const char *, std::function<void *()>>> calls = {
      {"mutex create empty", [] { return SMMutexCreate(""); }},
      {"mutex open null", [] { return SMMutexOpen(nullptr); }},
      {"mutex open empty", [] { return SMMutexOpen(""); }},
      {"mutex open missing", [] { return SMMutexOpen("never made"); }},
      {"semaphore open null", [] { return SMSemaphoreOpen(nullptr); }},
      {"semaphore open empty", [] { return SMSemaphoreOpen(""); }},
      {"semaphore open missing", [] { return SMSemaphoreOpen("never made"); }},
      {"event open null", [] { return SMEventOpen(nullptr); }},
      {"event open missing", [] { return SMEventOpen("never made"); }},
      {"memory create null", [] { return SMSharedMemCreate(nullptr, 64); }},
      {"memory create empty", [] { return SMSharedMemCreate("", 64); }},
      {"memory open null", [] { return SMSharedMemOpen(nullptr); }},
      {"memory open missing", [] { return SMSharedMemOpen("never made"); }},
      {"lock create empty", [] { return SMRWLCreate(""); }},
  };
  for (const auto &[what, call] : calls) EXPECT_EQ(call(), nullptr) << what;
  // An open of a missing mutex makes no lock file.
  EXPECT_FALSE(
      std::filesystem::exists(sandbox.IpcDir() + "/.kxsupmtx" + ipctest::NameDigest("never made")));
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

mode_t FileMode(const std::string &path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 07777;
}
mode_t SetMode(int set_id) {
  struct semid_ds info {};
  return semctl(set_id, 0, IPC_STAT, &info) == 0 ? info.sem_perm.mode & 0777 : 07777;
}

// Each kind with each word; the creation mask must not narrow the lock file.
TEST(Handles, permission_of_every_kind_follows_the_access_rights_word) {
  IpcSandbox sandbox;
  const mode_t old_mask = umask(077);
  const uint32_t words[] = {0xFFFFFFFFu, 0u,          0x01000000u, 0x02000000u,
                            0x06060600u, 0x0E0A0200u, 0x0F0F0F00u, 0x00000100u,
                            0x10000000u, 0x00000080u, 0x0C040800u, 0x01010100u};
  for (uint32_t word : words) {
    SCOPED_TRACE(std::to_string(word));
    const std::string name = "rights " + std::to_string(word);
    const mode_t want = ModelPermission(word);
    void *mutex = SMMutexCreate_s(name.c_str(), word);
    void *semaphore = SMSemaphoreCreate_s(name.c_str(), 0, word);
    void *event = SMEventCreate_s(name.c_str(), 0, 0, word);
    void *memory = SMSharedMemCreate_s(name.c_str(), 64, word);
    ASSERT_TRUE(mutex && semaphore && event && memory);
    EXPECT_EQ(FileMode(static_cast<kx::ipc::NamedMutexHandle *>(mutex)->mutex.name), want);
    EXPECT_EQ(SetMode(static_cast<kx::os::SemaphoreHandle *>(semaphore)->object.set_id), want);
    EXPECT_EQ(SetMode(static_cast<kx::ipc::EventHandle *>(event)->object.set_id), want);
    auto *shared = static_cast<kx::ipc::SharedMemoryHandle *>(memory);
    struct shmid_ds info {};
    ASSERT_EQ(shmctl(shared->segment, IPC_STAT, &info), 0);
    EXPECT_EQ(info.shm_perm.mode & 0777, want);
    EXPECT_EQ(SetMode(shared->guard), 0600u);  // the guard is always 0600
    SMSharedMemFree(memory);
    SMEventDestroy(event);
    SMSemaphoreDestroy(semaphore);
    SMMutexDestroy(mutex);
  }
  // The plain creations take the default word; an existing lock file keeps
  // its permission and outlives its handles.
  void *mutex = SMMutexCreate("rights 0");
  void *semaphore = SMSemaphoreCreate("plain", 0);
  ASSERT_TRUE(mutex && semaphore);
  const std::string lock_file = static_cast<kx::ipc::NamedMutexHandle *>(mutex)->mutex.name;
  EXPECT_EQ(FileMode(lock_file), 0600u);
  EXPECT_EQ(SetMode(static_cast<kx::os::SemaphoreHandle *>(semaphore)->object.set_id), 0664u);
  SMSemaphoreDestroy(semaphore);
  SMMutexDestroy(mutex);
  EXPECT_TRUE(std::filesystem::exists(lock_file));
  umask(old_mask);
}

}  // namespace
