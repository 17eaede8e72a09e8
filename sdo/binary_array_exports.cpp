// Exported entry points of SDO binary arrays: one line each, forwarding to
// kx::sdo (binary_array.h).
#include "kxsupt/sdo.h"
#include "sdo/binary_array.h"
#include "sdo/binary_image.h"

extern "C" {

SMStatus SMSDOBinaryArrayInitHeader(void *pBuffer, uint32_t bufferSize) {
  return kx::ToC(kx::sdo::SDOBinaryArrayInitHeader(pBuffer, bufferSize));
}
SMStatus SMSDOBinaryArrayAddData(void *pArray, uint32_t *pSize, const void *pElement,
                                 uint32_t elementSize) {
  return kx::ToC(kx::sdo::SDOBinaryArrayAddData(pArray, pSize, pElement, elementSize));
}
SMStatus SMSDOBinaryArrayGetByIndex(const void *pArray, uint32_t /*unused*/, uint32_t index,
                                    void *pBuffer, uint32_t *pSize) {
  return kx::ToC(kx::sdo::SDOBinaryArrayGetByIndex(pArray, index, pBuffer, pSize));
}
SMStatus SMSDOConfigArrayToBinaryArray(SDOConfig *const *ppConfigs, uint32_t count, void *pBuffer,
                                       uint32_t *pSize) {
  return kx::ToC(kx::sdo::SDOConfigArrayToBinaryArray(
      reinterpret_cast<kx::sdo::Config *const *>(ppConfigs), count, pBuffer, pSize));
}
SMStatus SMSDOBinaryArrayToConfigArray(const void *pArray, SDOConfig **ppConfigs,
                                       uint32_t *pCount) {
  return kx::ToC(kx::sdo::SDOBinaryArrayToConfigArray(
      pArray, kx::sdo::kMaxImageSize, reinterpret_cast<kx::sdo::Config **>(ppConfigs), pCount));
}

}  // extern "C"
