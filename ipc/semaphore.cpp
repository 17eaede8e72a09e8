// Named semaphores over System V sets of one semaphore keyed by the IPC key
// registry; unnamed handles go to os/semaphore.
#include "ipc/semaphore.h"

#include <sys/sem.h>

#include "base/memory.h"
#include "config/ipc_paths.h"
#include "ipc/key_registry.h"
#include "ipc/sysv.h"

namespace kx::ipc {

namespace {

// A kind-2 handle with the operating-system name behind it and its key, or
// null (the handle freed) when the name cannot be named or keyed.
os::SemaphoreHandle *NewNamedHandle(const char *name, uint32_t *key) {
  auto *semaphore = static_cast<os::SemaphoreHandle *>(
      config::BuildIpcHandle(name, sizeof(os::SemaphoreHandle), config::kIpcSemaphore));
  if (semaphore == nullptr) return nullptr;
  *key = KeyForName(semaphore->name);
  if (*key == 0) {
    base::FreeMem(semaphore);
    return nullptr;
  }
  return semaphore;
}

bool IsNamed(const os::SemaphoreHandle *semaphore) {
  return semaphore->name != nullptr;
}

}  // namespace

os::SemaphoreHandle *SemaphoreCreate(const char *name, uint32_t initial_count,
                                     uint32_t access_rights) {
  if (initial_count >= os::kSemaphoreCountLimit) return nullptr;
  if (name == nullptr) return os::SemaphoreCreate(nullptr, initial_count);
  uint32_t key = 0;
  os::SemaphoreHandle *semaphore = NewNamedHandle(name, &key);
  if (semaphore == nullptr) return nullptr;
  const int set_id = CreateSemaphoreSet(key, 1, access_rights, static_cast<int>(initial_count));
  if (set_id == 0) {
    base::FreeMem(semaphore);
    return nullptr;
  }
  semaphore->object.set_id = set_id;
  semaphore->creator = 1;
  return semaphore;
}

os::SemaphoreHandle *SemaphoreOpen(const char *name) {
  if (name == nullptr) return nullptr;
  uint32_t key = 0;
  os::SemaphoreHandle *semaphore = NewNamedHandle(name, &key);
  if (semaphore == nullptr) return nullptr;
  const int set_id = Sysv().semget(static_cast<key_t>(key), 0, 0600);
  if (set_id < 0) {
    base::FreeMem(semaphore);
    return nullptr;
  }
  semaphore->object.set_id = set_id;
  semaphore->creator = 0;
  return semaphore;
}

Status SemaphoreAcquireWait(os::SemaphoreHandle *semaphore, uint32_t timeout_ms) {
  if (Status status = os::CheckSemaphoreHandle(semaphore); !Ok(status)) return status;
  if (!IsNamed(semaphore)) return os::SemaphoreAcquireWait(semaphore, timeout_ms);
  return AcquireSetSemaphore(semaphore->object.set_id, timeout_ms);
}

Status SemaphoreRelease(os::SemaphoreHandle *semaphore, int32_t count, int32_t *previous) {
  if (count < 1 || count >= static_cast<int32_t>(os::kSemaphoreCountLimit) ||
      semaphore == nullptr) {
    return Status::kInvalidParameter;
  }
  if (Status status = os::CheckSemaphoreHandle(semaphore); !Ok(status)) return status;
  if (!IsNamed(semaphore)) return os::SemaphoreRelease(semaphore, count, previous);
  if (previous != nullptr) *previous = SemaphoreValue(semaphore->object.set_id);
  return ReleaseSetSemaphore(semaphore->object.set_id, count);
}

void SemaphoreDestroy(os::SemaphoreHandle *semaphore) {
  if (!Ok(os::CheckSemaphoreHandle(semaphore))) return;
  if (!IsNamed(semaphore)) {
    os::SemaphoreDestroy(semaphore);
    return;
  }
  if (semaphore->creator == 1 && RemoveSemaphoreSet(semaphore->object.set_id)) {
    ForgetSemaphoreSet(semaphore->object.set_id);
  }
  base::FreeMem(semaphore);
}

}  // namespace kx::ipc
