// Exported entry points of SDO config objects: one line each, forwarding to
// kx::sdo (config.h). The handle is the config itself.
#include "kxsupt/sdo.h"
#include "sdo/config.h"

using kx::sdo::FromHandle;
using kx::sdo::ToHandle;

extern "C" {

SDOConfig *SMSDOConfigAlloc(void) {
  return ToHandle(kx::sdo::SDOConfigAlloc());
}
void SMSDOConfigFree(SDOConfig *pConfig) {
  kx::sdo::SDOConfigFree(FromHandle(pConfig));
}
SDOConfig *SMSDOConfigClone(const SDOConfig *pConfig) {
  return ToHandle(kx::sdo::SDOConfigClone(FromHandle(pConfig)));
}
int32_t SMSDOConfigCompareByValue(const SDOConfig *pConfigA, const SDOConfig *pConfigB) {
  return kx::sdo::SDOConfigCompareByValue(FromHandle(pConfigA), FromHandle(pConfigB));
}
uint32_t SMSDOConfigGetCount(const SDOConfig *pConfig) {
  return kx::sdo::SDOConfigGetCount(FromHandle(pConfig));
}
SMStatus SMSDOConfigAddData(SDOConfig *pConfig, uint16_t id, uint8_t type, const void *pData,
                            uint32_t dataSize, uint32_t replace) {
  return kx::ToC(
      kx::sdo::SDOConfigAddData(FromHandle(pConfig), id, type, pData, dataSize, replace));
}
SMStatus SMSDOConfigGetDataByID(const SDOConfig *pConfig, uint16_t id, uint8_t *pType,
                                void *pBuffer, uint32_t *pSize) {
  return kx::ToC(kx::sdo::SDOConfigGetDataByID(FromHandle(pConfig), id, pType, pBuffer, pSize));
}
SMStatus SMSDOConfigGetDataByIndex(const SDOConfig *pConfig, uint32_t index, uint16_t *pID,
                                   uint8_t *pType, void *pBuffer, uint32_t *pSize) {
  return kx::ToC(
      kx::sdo::SDOConfigGetDataByIndex(FromHandle(pConfig), index, pID, pType, pBuffer, pSize));
}
SMStatus SMSDOConfigRemoveData(SDOConfig *pConfig, uint16_t id, uint32_t index,
                               uint32_t removeAll) {
  return kx::ToC(kx::sdo::SDOConfigRemoveData(FromHandle(pConfig), id, index, removeAll));
}
uint32_t SMSDOConfigGetBinarySize(const SDOConfig *pConfig) {
  return kx::sdo::SDOConfigGetBinarySize(FromHandle(pConfig));
}
uint32_t SMSDOConfigReCalcBinarySize(SDOConfig *pConfig) {
  return kx::sdo::SDOConfigReCalcBinarySize(FromHandle(pConfig));
}

}  // extern "C"
