// Exported entry points of the hash-ID table: each forwards to its routine in
// containers/hash_id.h.
#include "containers/hash_id.h"

#include "kxsupt/containers.h"

namespace c = kx::containers;

extern "C" {

uint32_t SMHashTableBytesNeeded(uint32_t maxID) {
  return c::HashIdBytesNeeded(maxID);
}
SMStatus SMClearHashTable(void *pTable, uint32_t size) {
  return c::HashIdClear(pTable, size);
}
uint32_t SMAcquireHashID(void *pTable, uint32_t size, uint32_t mode) {
  return c::HashIdAcquire(pTable, size, mode);
}
SMStatus SMAcquireHashIDByID(void *pTable, uint32_t size, uint32_t id) {
  return c::HashIdAcquireById(pTable, size, id);
}
SMStatus SMVerifyHashID(void *pTable, uint32_t size, uint32_t id) {
  return c::HashIdVerify(pTable, size, id);
}
SMStatus SMReleaseHashID(void *pTable, uint32_t size, uint32_t id) {
  return c::HashIdRelease(pTable, size, id);
}
uint32_t SMGetMinInUseID(void *pTable, uint32_t size) {
  return c::HashIdMinInUse(pTable, size);
}
uint32_t SMGetMaxInUseID(void *pTable, uint32_t size) {
  return c::HashIdMaxInUse(pTable, size);
}
uint32_t SMFindFirstHashID(void *pTable, uint32_t size, uint32_t *pWord, uint32_t *pBit) {
  return c::HashIdFindFirst(pTable, size, pWord, pBit);
}
uint32_t SMFindNextHashID(void *pTable, uint32_t size, uint32_t *pWord, uint32_t *pBit) {
  return c::HashIdFindNext(pTable, size, pWord, pBit);
}

}  // extern "C"
