// Exported entry points of the mutex family.
#include "kxsupt/os.h"

#include "os/mutex.h"

namespace {

kx::os::MutexHandle *AsMutex(void *handle) {
  return static_cast<kx::os::MutexHandle *>(handle);
}

}  // namespace

extern "C" {

void *SMMutexCreate(const char *pName) {
  return kx::os::MutexCreate(pName);
}
SMStatus SMMutexLock(void *pMutex, uint32_t timeoutMs) {
  return kx::ToC(kx::os::MutexLock(AsMutex(pMutex), timeoutMs));
}
SMStatus SMMutexUnLock(void *pMutex) {
  return kx::ToC(kx::os::MutexUnLock(AsMutex(pMutex)));
}
void SMMutexDestroy(void *pMutex) {
  kx::os::MutexDestroy(AsMutex(pMutex));
}

}  // extern "C"
