// Exported entry points of the UTF-8 routines and the UCS-2/UTF-8 conversions.
#include "kxsupt/text.h"
#include "text/utf.h"
#include "text/utf8.h"

namespace kt = kx::text;

extern "C" {

SMStatus SMUCS2StrToUTF8Str(char *pUTF8Out, uint32_t *pSize, const uint16_t *pUCS2In) {
  return kt::Ucs2ToUtf8(pUTF8Out, pSize, pUCS2In);
}
SMStatus SMUTF8StrToUCS2Str(uint16_t *pUCS2Out, uint32_t *pSize, const char *pUTF8In) {
  return kt::Utf8ToUcs2(pUCS2Out, pSize, pUTF8In);
}
char *SMUTF8ltrim(char *pStr) {
  return kt::Utf8TrimLeft(pStr);
}
char *SMUTF8rtrim(char *pStr) {
  return kt::Utf8TrimRight(pStr);
}
char *SMUTF8trim(char *pStr) {
  return kt::Utf8Trim(pStr);
}
char *SMUTF8StrUpperCase(char *pStr) {
  return kt::Utf8UpperCase(pStr);
}
char *SMUTF8StrLowerCase(char *pStr) {
  return kt::Utf8LowerCase(pStr);
}
void SMUTF8Strrev(char *pStr) {
  kt::Utf8Reverse(pStr);
}
char *SMUTF8Strdup(const char *pStr) {
  return kt::Utf8Duplicate(pStr);
}
int32_t SMUTF8Strnicmp(const char *pA, const char *pB, uint32_t n) {
  return kt::Utf8CompareNoCase(pA, pB, n);
}
char *SMUTF8Strstri(const char *pHaystack, const char *pNeedle) {
  return kt::Utf8FindNoCase(pHaystack, pNeedle);
}

}  // extern "C"
