// Shared memory with real processes: the guard protocol (a live creator
// holds it; a creator killed with SIGKILL gives it back through undo and its
// segment can be created again, contents kept), open rules and removal by
// the creator.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <cstring>
#include <string>

#include "ipc/key_registry.h"
#include "ipc/shared_memory.h"
#include "ipc_sandbox.h"
#include "kxsupt/ipc.h"

namespace {

using ipctest::Channel;
using ipctest::IpcSandbox;
using ipctest::Reap;
using ipctest::Spawn;

kx::ipc::SharedMemoryHandle *AsMemory(void *handle) {
  return static_cast<kx::ipc::SharedMemoryHandle *>(handle);
}

bool SegmentExists(int segment) {
  struct shmid_ds info {};
  return shmctl(segment, IPC_STAT, &info) == 0;
}
bool SetExists(int set_id) {
  struct semid_ds info {};
  return semctl(set_id, 0, IPC_STAT, &info) == 0;
}

TEST(SharedMemory, creator_shares_contents_and_removes_both_objects) {
  IpcSandbox sandbox;
  void *memory = SMSharedMemCreate("area", 4096);
  ASSERT_NE(memory, nullptr);
  char *bytes = static_cast<char *>(SMSharedMemGetAddressPtr(memory));
  ASSERT_NE(bytes, nullptr);
  std::strcpy(bytes, "from the creator");
  const int segment = AsMemory(memory)->segment;
  const int guard = AsMemory(memory)->guard;
  EXPECT_EQ(AsMemory(memory)->creator, 1u);
  EXPECT_EQ(semctl(guard, 0, GETVAL), 0);  // held
  struct shmid_ds info {};
  ASSERT_EQ(shmctl(segment, IPC_STAT, &info), 0);
  EXPECT_EQ(info.shm_segsz, 4096u);
  EXPECT_EQ(info.shm_perm.mode & 0777, 0664u);

  const pid_t child = Spawn([] {
    void *opened = SMSharedMemOpen("area");
    if (opened == nullptr || AsMemory(opened)->creator != 0) return 1;
    char *shared = static_cast<char *>(SMSharedMemGetAddressPtr(opened));
    if (std::strcmp(shared, "from the creator") != 0) return 2;
    std::strcpy(shared, "from the child");
    // A second creation of a live segment fails, here as anywhere.
    if (SMSharedMemCreate("area", 4096) != nullptr) return 3;
    SMSharedMemFree(opened);  // not the creator: removes nothing
    return 0;
  });
  EXPECT_EQ(Reap(child), 0);
  EXPECT_STREQ(bytes, "from the child");
  EXPECT_EQ(SMSharedMemCreate("area", 4096), nullptr);
  SMSharedMemFree(memory);
  EXPECT_FALSE(SegmentExists(segment));
  EXPECT_FALSE(SetExists(guard));
  EXPECT_EQ(SMSharedMemOpen("area"), nullptr);  // gone with its creator's free
}

// The creator dies holding the guard: the system gives the guard back, Open
// sees that nobody is alive, and Create takes the old segment over with its
// contents (and keeps the guard until this process ends).
TEST(SharedMemory, guard_of_a_killed_creator_comes_back_and_the_segment_is_reused) {
  IpcSandbox sandbox;
  Channel made;
  const pid_t creator = Spawn([&] {
    void *memory = SMSharedMemCreate("orphan", 256);
    if (memory == nullptr) return 1;
    std::strcpy(static_cast<char *>(SMSharedMemGetAddressPtr(memory)), "kept");
    made.Send();
    pause();
    return 0;
  });
  ASSERT_EQ(made.Receive(), '.');
  void *opened = SMSharedMemOpen("orphan");
  ASSERT_NE(opened, nullptr);  // its creator lives
  const int guard = AsMemory(opened)->guard;
  ASSERT_NE(guard, 0);
  EXPECT_EQ(semctl(guard, 0, GETVAL), 0);
  SMSharedMemFree(opened);
  kill(creator, SIGKILL);
  EXPECT_EQ(Reap(creator), 128 + SIGKILL);
  EXPECT_EQ(semctl(guard, 0, GETVAL), 1);  // given back
  EXPECT_EQ(SMSharedMemOpen("orphan"), nullptr);

  void *again = SMSharedMemCreate("orphan", 256);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(AsMemory(again)->creator, 0u);
  EXPECT_EQ(AsMemory(again)->guard, guard);
  EXPECT_STREQ(static_cast<char *>(SMSharedMemGetAddressPtr(again)), "kept");
  const int segment = AsMemory(again)->segment;
  SMSharedMemFree(again);
  // Not the creator: the segment stays and the guard stays held.
  EXPECT_TRUE(SegmentExists(segment));
  EXPECT_EQ(semctl(guard, 0, GETVAL), 0);
  EXPECT_EQ(SMSharedMemCreate("orphan", 256), nullptr);
  // What no handle will remove, the test does.
  EXPECT_EQ(shmctl(segment, IPC_RMID, nullptr), 0);
  EXPECT_EQ(semctl(guard, 0, IPC_RMID), 0);
}

// A segment with the name's key but no guard was not made by this library's
// protocol: Create refuses to take it over.
TEST(SharedMemory, segment_without_a_guard_is_not_taken_over) {
  IpcSandbox sandbox;
  void *probe = SMSharedMemCreate("foreign", 64);
  ASSERT_NE(probe, nullptr);
  const std::string os_name = AsMemory(probe)->name;
  SMSharedMemFree(probe);
  const uint32_t key = kx::ipc::KeyForName(os_name.c_str());
  const int segment = shmget(static_cast<key_t>(key), 64, IPC_CREAT | IPC_EXCL | 0600);
  ASSERT_GE(segment, 0);
  EXPECT_EQ(SMSharedMemCreate("foreign", 64), nullptr);
  EXPECT_EQ(shmctl(segment, IPC_RMID, nullptr), 0);
}

}  // namespace
