// Exported entry points of the ipc family: counting semaphores, unnamed and named.
#include "kxsupt/ipc.h"

#include "ipc/semaphore.h"

namespace {

// The access-rights word of the creation calls without _s: all ones (0664)
// for a named object; an unnamed object has no permission.
constexpr uint32_t kDefaultAccessRights = 0xFFFFFFFFu;

kx::os::SemaphoreHandle *AsSemaphore(void *handle) {
  return static_cast<kx::os::SemaphoreHandle *>(handle);
}

}  // namespace

extern "C" {

void *SMSemaphoreCreate(const char *pName, uint32_t initialCount) {
  return kx::ipc::SemaphoreCreate(pName, initialCount, kDefaultAccessRights);
}
void *SMSemaphoreCreate_s(const char *pName, uint32_t initialCount, uint32_t accessRights) {
  return kx::ipc::SemaphoreCreate(pName, initialCount, accessRights);
}
void *SMSemaphoreOpen(const char *pName) {
  return kx::ipc::SemaphoreOpen(pName);
}
SMStatus SMSemaphoreAcquireWait(void *pSemaphore, uint32_t timeoutMs) {
  return kx::ToC(kx::ipc::SemaphoreAcquireWait(AsSemaphore(pSemaphore), timeoutMs));
}
SMStatus SMSemaphoreRelease(void *pSemaphore, int32_t count, int32_t *pPreviousCount) {
  return kx::ToC(kx::ipc::SemaphoreRelease(AsSemaphore(pSemaphore), count, pPreviousCount));
}
void SMSemaphoreDestroy(void *pSemaphore) {
  kx::ipc::SemaphoreDestroy(AsSemaphore(pSemaphore));
}

}  // extern "C"
