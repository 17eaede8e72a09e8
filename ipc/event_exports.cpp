// Exported entry points of the ipc family: events.
#include "kxsupt/ipc.h"

#include "ipc/event.h"

namespace {

// The access-rights word of the creation calls without _s: all ones (0664)
// for a named object; an unnamed object has no permission.
constexpr uint32_t kDefaultAccessRights = 0xFFFFFFFFu;

kx::ipc::EventHandle *AsEvent(void *handle) {
  return static_cast<kx::ipc::EventHandle *>(handle);
}

}  // namespace

extern "C" {

void *SMEventCreate(const char *pName, uint32_t manualReset, uint32_t initialValue) {
  return kx::ipc::EventCreate(pName, manualReset, initialValue, kDefaultAccessRights);
}
void *SMEventCreate_s(const char *pName, uint32_t manualReset, uint32_t initialValue,
                      uint32_t accessRights) {
  return kx::ipc::EventCreate(pName, manualReset, initialValue, accessRights);
}
void *SMEventOpen(const char *pName) {
  return kx::ipc::EventOpen(pName);
}
SMStatus SMEventWait(void *pEvent, uint32_t timeoutMs) {
  return kx::ToC(kx::ipc::EventWait(AsEvent(pEvent), timeoutMs));
}
SMStatus SMEventSet(void *pEvent) {
  return kx::ToC(kx::ipc::EventSet(AsEvent(pEvent)));
}
SMStatus SMEventReset(void *pEvent) {
  return kx::ToC(kx::ipc::EventReset(AsEvent(pEvent)));
}
SMStatus SMEventPulse(void *pEvent) {
  return kx::ToC(kx::ipc::EventPulse(AsEvent(pEvent)));
}
void SMEventDestroy(void *pEvent) {
  kx::ipc::EventDestroy(AsEvent(pEvent));
}

}  // extern "C"
