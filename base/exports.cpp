// Exported entry points of the base family: versions, export context and
// memory services.
#include "kxsupt/base.h"

#include "base/context.h"
#include "base/memory.h"
#include "base/version.h"

extern "C" {

uint32_t SUPTGetMajorVersion(void) {
  return kx::base::GetMajorVersion();
}
uint32_t SUPTGetMinorVersion(void) {
  return kx::base::GetMinorVersion();
}
uint32_t SUPTGetRevision(void) {
  return kx::base::GetRevision();
}

void SMGetExportContext(uint32_t *pContext) {
  kx::base::GetExportContext(pContext);
}
void SMSetExportContext(void *pContext) {
  kx::base::SetExportContext(pContext);
}
void SMResetExportContext(void) {
  kx::base::ResetExportContext();
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
  kx::base::FreeGeneric(pMem);
}

}  // extern "C"
