// Exported entry points of the hash-ID table: each forwards to its routine in
// containers/hash_id.h.
#include "containers/hash_id.h"

#include "kxsupt/containers.h"

namespace c = kx::containers;

extern "C" {

uint32_t SMHashTableBytesNeeded(uint32_t maxID) {
  return c::HashTableBytesNeeded(maxID);
}
SMStatus SMClearHashTable(void *pTable, uint32_t size) {
  return kx::ToC(c::ClearHashTable(pTable, size));
}
uint32_t SMAcquireHashID(void *pTable, uint32_t size, uint32_t mode) {
  return c::AcquireHashID(pTable, size, mode);
}
SMStatus SMAcquireHashIDByID(void *pTable, uint32_t size, uint32_t id) {
  return kx::ToC(c::AcquireHashIDByID(pTable, size, id));
}
SMStatus SMVerifyHashID(void *pTable, uint32_t size, uint32_t id) {
  return kx::ToC(c::VerifyHashID(pTable, size, id));
}
SMStatus SMReleaseHashID(void *pTable, uint32_t size, uint32_t id) {
  return kx::ToC(c::ReleaseHashID(pTable, size, id));
}
uint32_t SMGetMinInUseID(void *pTable, uint32_t size) {
  return c::GetMinInUseID(pTable, size);
}
uint32_t SMGetMaxInUseID(void *pTable, uint32_t size) {
  return c::GetMaxInUseID(pTable, size);
}
uint32_t SMFindFirstHashID(void *pTable, uint32_t size, uint32_t *pWord, uint32_t *pBit) {
  return c::FindFirstHashID(pTable, size, pWord, pBit);
}
uint32_t SMFindNextHashID(void *pTable, uint32_t size, uint32_t *pWord, uint32_t *pBit) {
  return c::FindNextHashID(pTable, size, pWord, pBit);
}

}  // extern "C"
