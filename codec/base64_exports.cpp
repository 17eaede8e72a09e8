// Exported entry points of the Base64 family.
#include "kxsupt/codec.h"

#include "codec/base64.h"

extern "C" {

uint32_t SMBase64Encode(char *pOut, const uint8_t *pIn, int32_t length, const char *pAlphabet) {
  kx::codec::Base64Encode(pOut, pIn, length, pAlphabet);
  return SM_STATUS_SUCCESS;
}
uint32_t SMBase64Decode(uint8_t *pOut, const char *pIn, int32_t length) {
  kx::codec::Base64Decode(pOut, pIn, length);
  return SM_STATUS_SUCCESS;
}

}  // extern "C"
