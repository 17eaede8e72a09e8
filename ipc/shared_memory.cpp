// Shared-memory segments and their guards. The guard protocol: the creator
// takes the guard with undo (the kernel gives it back if the process dies)
// and keeps it; anyone may probe it without waiting, and a probe that
// succeeds (released again at once) proves that no creator is alive.
#include "ipc/shared_memory.h"

#include <errno.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include "base/memory.h"
#include "config/ipc_paths.h"
#include "ipc/key_registry.h"
#include "ipc/sysv.h"

namespace kx::ipc {

namespace {

// One operation with undo on the guard's semaphore, retried while
// interrupted; `wait` false makes it fail at once when it would block.
bool OperateOnGuard(int guard, short delta, bool wait) {
  sembuf operation{0, delta, static_cast<short>(SEM_UNDO | (wait ? 0 : IPC_NOWAIT))};
  while (semop(guard, &operation, 1) != 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

// True when the guard was free: taken without waiting and given back. The
// probe carries undo too, so a process that dies in between loses nothing.
bool GuardIsFree(int guard) {
  if (!OperateOnGuard(guard, -1, false)) return false;
  (void)OperateOnGuard(guard, 1, false);
  return true;
}

// The existing guard of a key, or 0.
int FindGuard(uint32_t key) {
  const int guard = Sysv().semget(static_cast<key_t>(key), 0, 0600);
  return guard < 0 ? 0 : guard;
}

// A kind-3 handle with the name's key; null (nothing left) on failure.
SharedMemoryHandle *NewHandle(const char *name, uint32_t *key) {
  if (name == nullptr) return nullptr;
  auto *memory = static_cast<SharedMemoryHandle *>(
      config::BuildIpcHandle(name, sizeof(SharedMemoryHandle), config::kIpcSharedMemory));
  if (memory == nullptr) return nullptr;
  *key = KeyForName(memory->name);
  if (*key == 0) {
    base::FreeMem(memory);
    return nullptr;
  }
  memory->segment = -1;
  return memory;
}

SharedMemoryHandle *Fail(SharedMemoryHandle *memory) {
  base::FreeMem(memory);
  return nullptr;
}

// Maps the handle's segment read-write anywhere; false when refused.
bool Map(SharedMemoryHandle *memory) {
  void *address = shmat(memory->segment, nullptr, 0);
  if (address == reinterpret_cast<void *>(-1)) return false;
  memory->address = address;
  return true;
}

}  // namespace

SharedMemoryHandle *SharedMemCreate(const char *name, uint32_t size, uint32_t access_rights) {
  uint32_t key = 0;
  SharedMemoryHandle *memory = NewHandle(name, &key);
  if (memory == nullptr) return nullptr;
  const key_t system_key = static_cast<key_t>(key);

  memory->guard = FindGuard(key);
  if (memory->guard != 0 && !GuardIsFree(memory->guard)) return Fail(memory);  // a live creator

  const int permission = static_cast<int>(config::PermissionFromAccessRights(access_rights));
  memory->segment = shmget(system_key, size, permission | IPC_CREAT | IPC_EXCL);
  memory->creator = memory->segment >= 0 ? 1 : 0;
  if (memory->segment < 0) {
    // An existing segment is taken over only when its guard shows that its
    // creator is gone; a segment without a guard is not ours to take.
    if (errno != EEXIST || memory->guard == 0) return Fail(memory);
    memory->segment = shmget(system_key, 0, 0600);
    if (memory->segment < 0) return Fail(memory);
  }
  if (!Map(memory)) {
    shmctl(memory->segment, IPC_RMID, nullptr);
    return Fail(memory);
  }
  if (memory->guard == 0) {
    memory->guard = CreateSemaphoreSet(key, 1, 0, 1);
    if (memory->guard == 0) {
      shmdt(memory->address);
      shmctl(memory->segment, IPC_RMID, nullptr);
      return Fail(memory);
    }
  }
  // Held for the handle's life; the kernel gives it back if the process dies.
  (void)OperateOnGuard(memory->guard, -1, true);
  return memory;
}

SharedMemoryHandle *SharedMemOpen(const char *name) {
  uint32_t key = 0;
  SharedMemoryHandle *memory = NewHandle(name, &key);
  if (memory == nullptr) return nullptr;
  memory->guard = FindGuard(key);
  if (memory->guard != 0 && GuardIsFree(memory->guard)) return Fail(memory);  // nobody alive
  memory->segment = shmget(static_cast<key_t>(key), 0, 0600);
  memory->creator = 0;
  if (memory->segment < 0 || !Map(memory)) return Fail(memory);
  return memory;
}

void *SharedMemGetAddressPtr(SharedMemoryHandle *memory) {
  if (memory == nullptr || memory->kind != config::kIpcSharedMemory) return nullptr;
  return memory->address;
}

void SharedMemFree(SharedMemoryHandle *memory) {
  if (memory == nullptr || memory->kind != config::kIpcSharedMemory) return;
  if (memory->address != nullptr) shmdt(memory->address);
  memory->address = nullptr;
  if (memory->creator == 1) {
    shmctl(memory->segment, IPC_RMID, nullptr);
    memory->segment = -1;
    (void)OperateOnGuard(memory->guard, 1, false);
    if (RemoveSemaphoreSet(memory->guard)) ForgetSemaphoreSet(memory->guard);
  }
  base::FreeMem(memory);
}

}  // namespace kx::ipc
