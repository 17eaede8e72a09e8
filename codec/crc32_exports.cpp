// Exported entry points of the CRC32 family.
#include "kxsupt/codec.h"

#include "codec/crc32.h"

extern "C" {

uint32_t SMCRC32Compute_vn(const void *pData, uint32_t length) {
  return kx::codec::CRC32Compute_vn(pData, length);
}
uint32_t SMCRC32Compute_str(const char *pStr) {
  return kx::codec::CRC32Compute_str(pStr);
}
uint32_t SMCRC32Compute_strncase(const char *pStr) {
  return kx::codec::CRC32Compute_strncase(pStr);
}
uint32_t SMGenerateCRC32(const void *pData, uint32_t dataLength, uint32_t totalLength) {
  return kx::codec::GenerateCRC32(static_cast<const uint8_t *>(pData), dataLength, totalLength);
}

}  // extern "C"
