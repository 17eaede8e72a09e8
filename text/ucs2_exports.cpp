// Exported entry points of the UCS-2 string family. Each _s form drops its
// size argument: the two forms are interchangeable by contract.
#include "kxsupt/text.h"
#include "text/ucs2.h"

namespace kt = kx::text;

extern "C" {

uint32_t SMUCS2Strlen(const uint16_t *pStr) {
  return kt::UCS2Strlen(pStr);
}
uint16_t *SMUCS2Strcpy(uint16_t *pDst, const uint16_t *pSrc) {
  return kt::UCS2Strcpy(pDst, pSrc);
}
uint16_t *SMUCS2Strcpy_s(uint16_t *pDst, uint32_t, const uint16_t *pSrc) {
  return kt::UCS2Strcpy(pDst, pSrc);
}
uint16_t *SMUCS2Strcat(uint16_t *pDst, const uint16_t *pSrc) {
  return kt::UCS2Strcat(pDst, pSrc);
}
uint16_t *SMUCS2Strcat_s(uint16_t *pDst, uint32_t, const uint16_t *pSrc) {
  return kt::UCS2Strcat(pDst, pSrc);
}
void SMUCS2Strncpy(uint16_t *pDst, const uint16_t *pSrc, uint32_t n) {
  kt::UCS2Strncpy(pDst, pSrc, n);
}
void SMUCS2Strncpy_s(uint16_t *pDst, uint32_t, const uint16_t *pSrc, uint32_t n) {
  kt::UCS2Strncpy(pDst, pSrc, n);
}
uint16_t *SMUCS2Strncat(uint16_t *pDst, const uint16_t *pSrc, uint32_t n) {
  return kt::UCS2Strncat(pDst, pSrc, n);
}
uint16_t *SMUCS2Strncat_s(uint16_t *pDst, uint32_t, const uint16_t *pSrc, uint32_t n) {
  return kt::UCS2Strncat(pDst, pSrc, n);
}
uint32_t SMUCS2Strcmp(const uint16_t *pA, const uint16_t *pB) {
  return kt::UCS2Strcmp(pA, pB);
}
uint16_t *SMUCS2Strchr(const uint16_t *pStr, uint16_t c) {
  return kt::UCS2Strchr(pStr, c);
}
uint16_t *SMUCS2Strstr(const uint16_t *pHaystack, const uint16_t *pNeedle) {
  return kt::UCS2Strstr(pHaystack, pNeedle);
}
uint32_t SMUCS2Strspn(const uint16_t *pStr, const uint16_t *pAccept) {
  return kt::UCS2Strspn(pStr, pAccept);
}
uint32_t SMUCS2Strcspn(const uint16_t *pStr, const uint16_t *pReject) {
  return kt::UCS2Strcspn(pStr, pReject);
}
uint16_t *SMUCS2Strset(uint16_t *pStr, uint16_t c) {
  return kt::UCS2Strset(pStr, c);
}
uint16_t *SMUCS2Strset_s(uint16_t *pStr, uint32_t, uint16_t c) {
  return kt::UCS2Strset(pStr, c);
}
void SMUCS2Strnset(uint16_t *pStr, uint16_t c, uint32_t n) {
  kt::UCS2Strnset(pStr, c, n);
}
void SMUCS2Strnset_s(uint16_t *pStr, uint32_t, uint16_t c, uint32_t n) {
  kt::UCS2Strnset(pStr, c, n);
}
uint16_t *SMUCS2Strrev(uint16_t *pStr) {
  return kt::UCS2Strrev(pStr);
}
uint16_t *SMUCS2Strtok(uint16_t *pStr, const uint16_t *pDelimiters) {
  return kt::UCS2Strtok(pStr, pDelimiters);
}
uint16_t *SMUCS2Strtok_s(uint16_t *pStr, const uint16_t *pDelimiters, uint16_t **) {
  return kt::UCS2Strtok(pStr, pDelimiters);
}
SMStatus SMUCS2ToEscape(char *pOut, uint32_t *pSize, const uint16_t *pIn) {
  return kx::ToC(kt::UCS2ToEscape(pOut, pSize, pIn));
}

}  // extern "C"
