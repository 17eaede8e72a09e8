// Exported entry points of the UCS-2 string family. Each _s form drops its
// size argument: the two forms are interchangeable by contract.
#include "kxsupt/text.h"
#include "text/ucs2.h"

namespace kt = kx::text;

extern "C" {

uint32_t SMUCS2Strlen(const uint16_t *pStr) {
  return kt::Ucs2Length(pStr);
}
uint16_t *SMUCS2Strcpy(uint16_t *pDst, const uint16_t *pSrc) {
  return kt::Ucs2Copy(pDst, pSrc);
}
uint16_t *SMUCS2Strcpy_s(uint16_t *pDst, uint32_t, const uint16_t *pSrc) {
  return kt::Ucs2Copy(pDst, pSrc);
}
uint16_t *SMUCS2Strcat(uint16_t *pDst, const uint16_t *pSrc) {
  return kt::Ucs2Append(pDst, pSrc);
}
uint16_t *SMUCS2Strcat_s(uint16_t *pDst, uint32_t, const uint16_t *pSrc) {
  return kt::Ucs2Append(pDst, pSrc);
}
void SMUCS2Strncpy(uint16_t *pDst, const uint16_t *pSrc, uint32_t n) {
  kt::Ucs2CopyN(pDst, pSrc, n);
}
void SMUCS2Strncpy_s(uint16_t *pDst, uint32_t, const uint16_t *pSrc, uint32_t n) {
  kt::Ucs2CopyN(pDst, pSrc, n);
}
uint16_t *SMUCS2Strncat(uint16_t *pDst, const uint16_t *pSrc, uint32_t n) {
  return kt::Ucs2AppendN(pDst, pSrc, n);
}
uint16_t *SMUCS2Strncat_s(uint16_t *pDst, uint32_t, const uint16_t *pSrc, uint32_t n) {
  return kt::Ucs2AppendN(pDst, pSrc, n);
}
uint32_t SMUCS2Strcmp(const uint16_t *pA, const uint16_t *pB) {
  return kt::Ucs2Compare(pA, pB);
}
uint16_t *SMUCS2Strchr(const uint16_t *pStr, uint16_t c) {
  return kt::Ucs2FindUnit(pStr, c);
}
uint16_t *SMUCS2Strstr(const uint16_t *pHaystack, const uint16_t *pNeedle) {
  return kt::Ucs2Find(pHaystack, pNeedle);
}
uint32_t SMUCS2Strspn(const uint16_t *pStr, const uint16_t *pAccept) {
  return kt::Ucs2SpanOf(pStr, pAccept);
}
uint32_t SMUCS2Strcspn(const uint16_t *pStr, const uint16_t *pReject) {
  return kt::Ucs2SpanNotOf(pStr, pReject);
}
uint16_t *SMUCS2Strset(uint16_t *pStr, uint16_t c) {
  return kt::Ucs2Fill(pStr, c);
}
uint16_t *SMUCS2Strset_s(uint16_t *pStr, uint32_t, uint16_t c) {
  return kt::Ucs2Fill(pStr, c);
}
void SMUCS2Strnset(uint16_t *pStr, uint16_t c, uint32_t n) {
  kt::Ucs2FillN(pStr, c, n);
}
void SMUCS2Strnset_s(uint16_t *pStr, uint32_t, uint16_t c, uint32_t n) {
  kt::Ucs2FillN(pStr, c, n);
}
uint16_t *SMUCS2Strrev(uint16_t *pStr) {
  return kt::Ucs2Reverse(pStr);
}
uint16_t *SMUCS2Strtok(uint16_t *pStr, const uint16_t *pDelimiters) {
  return kt::Ucs2Tokenize(pStr, pDelimiters);
}
uint16_t *SMUCS2Strtok_s(uint16_t *pStr, const uint16_t *pDelimiters, uint16_t **) {
  return kt::Ucs2Tokenize(pStr, pDelimiters);
}
SMStatus SMUCS2ToEscape(char *pOut, uint32_t *pSize, const uint16_t *pIn) {
  return kt::Ucs2ToEscape(pOut, pSize, pIn);
}

}  // extern "C"
