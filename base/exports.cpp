// Exported entry points of the library frame: versions, export context and
// memory services.
#include "kxsupt/base.h"

#include "base/context.h"
#include "base/memory.h"
#include "base/version.h"

extern "C" {

uint32_t SUPTGetMajorVersion(void) {
  return kx::base::kMajorVersion;
}
uint32_t SUPTGetMinorVersion(void) {
  return kx::base::kMinorVersion;
}
uint32_t SUPTGetRevision(void) {
  return kx::base::kRevision;
}

void SMGetExportContext(uint32_t *pContext) {
  if (pContext != nullptr) *pContext = kx::base::CurrentExportContext();
}
void SMSetExportContext(void *pContext) {
  kx::base::EnterExportContext(pContext);
}
void SMResetExportContext(void) {
  kx::base::LeaveExportContext();
}

void *SMAllocMem(uint32_t size) {
  return kx::base::AllocMem(size);
}
void *SMReAllocMem(void *pMem, uint32_t size) {
  return kx::base::ReAllocMem(pMem, size);
}
void SMFreeMem(void *pMem) {
  kx::base::FreeMem(pMem);
}
void SMFreeGeneric(void *pMem) {
  kx::base::FreeMem(pMem);
}

}  // extern "C"
