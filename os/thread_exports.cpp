// Exported entry points of threads and critical sections.
#include "kxsupt/os.h"

#include "os/critical_section.h"
#include "os/thread.h"

namespace {

kx::os::ThreadHandle *AsThread(void *handle) {
  return static_cast<kx::os::ThreadHandle *>(handle);
}

}  // namespace

extern "C" {

void *SMThreadStart(SMThreadFunction pFunction, void *pArg) {
  return kx::os::ThreadStart(pFunction, pArg);
}
SMStatus SMThreadStartAndRelease(SMThreadFunction pFunction, void *pArg) {
  return kx::ToC(kx::os::ThreadStartAndRelease(pFunction, pArg));
}
SMStatus SMThreadStop(void *pThread) {
  return kx::ToC(kx::os::ThreadStop(AsThread(pThread)));
}
SMStatus SMThreadKill(void *pThread) {
  return kx::ToC(kx::os::ThreadKill(AsThread(pThread)));
}
void SMThreadYield(void) {
  kx::os::ThreadYield();
}
uint64_t SMThreadGetID(void) {
  return kx::os::ThreadGetID();
}
SMStatus SMThreadSetName(const char *pName) {
  return kx::ToC(kx::os::ThreadSetName(pName));
}
void SMCriticalSectionExecute(SMCriticalSectionFunction pFunction, void *pArg, uint32_t timeoutMs) {
  kx::os::CriticalSectionExecute(pFunction, pArg, timeoutMs);
}

}  // extern "C"
