// Exported entry points of the library frame: versions, export context and
// memory services.
#include "kxsupt/frame.h"

#include "base/context.h"
#include "base/memory.h"
#include "base/version.h"

extern "C" {

uint32_t SUPTGetMajorVersion(void) {
  return kx::frame::kMajorVersion;
}
uint32_t SUPTGetMinorVersion(void) {
  return kx::frame::kMinorVersion;
}
uint32_t SUPTGetRevision(void) {
  return kx::frame::kRevision;
}

void SMGetExportContext(uint32_t *pContext) {
  if (pContext != nullptr) *pContext = kx::frame::CurrentExportContext();
}
void SMSetExportContext(void *pContext) {
  kx::frame::EnterExportContext(pContext);
}
void SMResetExportContext(void) {
  kx::frame::LeaveExportContext();
}

void *SMAllocMem(uint32_t size) {
  return kx::frame::AllocMem(size);
}
void *SMReAllocMem(void *pMem, uint32_t size) {
  return kx::frame::ReAllocMem(pMem, size);
}
void SMFreeMem(void *pMem) {
  kx::frame::FreeMem(pMem);
}
void SMFreeGeneric(void *pMem) {
  kx::frame::FreeMem(pMem);
}

}  // extern "C"
