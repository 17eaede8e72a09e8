// Exported entry points of the SDO binary form: one line each, forwarding to
// kx::sdo (binary.h). An exported binary carries no length of its own, so its
// header's total size bounds every read.
#include "kxsupt/sdo.h"
#include "sdo/binary.h"
#include "sdo/binary_image.h"

using kx::sdo::FromHandle;

extern "C" {

SMStatus SMSDOConfigToBinary(const SDOConfig *pConfig, void *pBuffer, uint32_t *pSize) {
  return kx::ToC(kx::sdo::SDOConfigToBinary(FromHandle(pConfig), pBuffer, pSize));
}
SDOConfig *SMSDOBinaryToConfig(const void *pBinary) {
  return kx::sdo::ToHandle(kx::sdo::SDOBinaryToConfig(pBinary, kx::sdo::kMaxImageSize));
}
int32_t SMSDOBinaryGetCount(const void *pBinary, uint16_t *pIsArray) {
  return kx::sdo::SDOBinaryGetCount(pBinary, pIsArray);
}
uint32_t SMSDOBinaryGetSize(const void *pBinary, uint16_t *pIsArray) {
  return kx::sdo::SDOBinaryGetSize(pBinary, pIsArray);
}
SMStatus SMSDOBinaryGetDataByID(const void *pBinary, uint16_t id, uint8_t *pType, void *pBuffer,
                                uint32_t *pSize) {
  return kx::ToC(kx::sdo::SDOBinaryGetDataByID(pBinary, id, pType, pBuffer, pSize));
}
SMStatus SMSDOBinaryGetDataByIndex(const void *pBinary, uint32_t index, uint16_t *pID,
                                   uint8_t *pType, void *pBuffer, uint32_t *pSize) {
  return kx::ToC(kx::sdo::SDOBinaryGetDataByIndex(pBinary, index, pID, pType, pBuffer, pSize));
}
SMStatus SMSDOBinarySetData(void *pBinary, uint32_t *pSize, uint16_t id, uint8_t type,
                            const void *pData, uint32_t dataSize) {
  return kx::ToC(kx::sdo::SDOBinarySetData(pBinary, pSize, id, type, pData, dataSize));
}
SMStatus SMSDOBinaryWalk(const void *pBinary, uint32_t context, SMSDOBinaryWalkBeginFn begin,
                         SMSDOBinaryWalkEntryFn entry, SMSDOBinaryWalkAfterEntryFn afterEntry,
                         SMSDOBinaryWalkEndFn end, uint32_t recurse) {
  return kx::ToC(kx::sdo::SDOBinaryWalk(pBinary, context, begin, entry, afterEntry, end, recurse));
}

}  // extern "C"
