// Exported entry points of the ipc family: shared memory.
#include "kxsupt/ipc.h"

#include "ipc/shared_memory.h"

namespace {

// The access-rights word of the creation calls without _s: all ones (0664)
// for a named object; an unnamed object has no permission.
constexpr uint32_t kDefaultAccessRights = 0xFFFFFFFFu;

kx::ipc::SharedMemoryHandle *AsSharedMemory(void *handle) {
  return static_cast<kx::ipc::SharedMemoryHandle *>(handle);
}

}  // namespace

extern "C" {

void *SMSharedMemCreate(const char *pName, uint32_t size) {
  return kx::ipc::SharedMemCreate(pName, size, kDefaultAccessRights);
}
void *SMSharedMemCreate_s(const char *pName, uint32_t size, uint32_t accessRights) {
  return kx::ipc::SharedMemCreate(pName, size, accessRights);
}
void *SMSharedMemOpen(const char *pName) {
  return kx::ipc::SharedMemOpen(pName);
}
void *SMSharedMemGetAddressPtr(void *pSharedMem) {
  return kx::ipc::SharedMemGetAddressPtr(AsSharedMemory(pSharedMem));
}
void SMSharedMemFree(void *pSharedMem) {
  kx::ipc::SharedMemFree(AsSharedMemory(pSharedMem));
}

}  // extern "C"
