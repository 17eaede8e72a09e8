// Exported entry points of the ipc family: mutexes, unnamed and named.
#include "kxsupt/ipc.h"

#include "ipc/mutex.h"

namespace {

// The access-rights word of the creation calls without _s: all ones (0664)
// for a named object; an unnamed object has no permission.
constexpr uint32_t kDefaultAccessRights = 0xFFFFFFFFu;

kx::os::MutexHandle *AsMutex(void *handle) {
  return static_cast<kx::os::MutexHandle *>(handle);
}

}  // namespace

extern "C" {

void *SMMutexCreate(const char *pName) {
  return kx::ipc::MutexCreate(pName, kDefaultAccessRights);
}
void *SMMutexCreate_s(const char *pName, uint32_t accessRights) {
  return kx::ipc::MutexCreate(pName, accessRights);
}
void *SMMutexOpen(const char *pName) {
  return kx::ipc::MutexOpen(pName);
}
SMStatus SMMutexLock(void *pMutex, uint32_t timeoutMs) {
  return kx::ToC(kx::ipc::MutexLock(AsMutex(pMutex), timeoutMs));
}
SMStatus SMMutexUnLock(void *pMutex) {
  return kx::ToC(kx::ipc::MutexUnLock(AsMutex(pMutex)));
}
void SMMutexDestroy(void *pMutex) {
  kx::ipc::MutexDestroy(AsMutex(pMutex));
}

}  // extern "C"
