// Exported entry points of the ipc family: reader-writer locks.
#include "kxsupt/ipc.h"

#include "ipc/rwlock.h"

namespace {

kx::ipc::RwLockHandle *AsRwLock(void *handle) {
  return static_cast<kx::ipc::RwLockHandle *>(handle);
}

}  // namespace

extern "C" {

void *SMRWLCreate(const char *pName) {
  return kx::ipc::RWLCreate(pName);
}
SMStatus SMRWLReadLockGet(void *pRWL, uint32_t timeoutMs) {
  return kx::ToC(kx::ipc::RWLReadLockGet(AsRwLock(pRWL), timeoutMs));
}
SMStatus SMRWLReadLockRelease(void *pRWL) {
  return kx::ToC(kx::ipc::RWLReadLockRelease(AsRwLock(pRWL)));
}
SMStatus SMRWLWriteLockGet(void *pRWL, uint32_t timeoutMs) {
  return kx::ToC(kx::ipc::RWLWriteLockGet(AsRwLock(pRWL), timeoutMs));
}
SMStatus SMRWLWriteLockRelease(void *pRWL) {
  return kx::ToC(kx::ipc::RWLWriteLockRelease(AsRwLock(pRWL)));
}
void SMRWLDestroy(void *pRWL) {
  kx::ipc::RWLDestroy(AsRwLock(pRWL));
}

}  // extern "C"
