// Exported entry points of the semaphore family (unnamed semaphores).
#include "kxsupt/os.h"

#include "os/semaphore.h"

namespace {

kx::os::SemaphoreHandle *AsSemaphore(void *handle) {
  return static_cast<kx::os::SemaphoreHandle *>(handle);
}

}  // namespace

extern "C" {

void *SMSemaphoreCreate(const char *pName, uint32_t initialCount) {
  return kx::os::SemaphoreCreate(pName, initialCount);
}
SMStatus SMSemaphoreAcquireWait(void *pSemaphore, uint32_t timeoutMs) {
  return kx::ToC(kx::os::SemaphoreAcquireWait(AsSemaphore(pSemaphore), timeoutMs));
}
SMStatus SMSemaphoreRelease(void *pSemaphore, int32_t count, int32_t *pPreviousCount) {
  return kx::ToC(kx::os::SemaphoreRelease(AsSemaphore(pSemaphore), count, pPreviousCount));
}
void SMSemaphoreDestroy(void *pSemaphore) {
  kx::os::SemaphoreDestroy(AsSemaphore(pSemaphore));
}

}  // extern "C"
