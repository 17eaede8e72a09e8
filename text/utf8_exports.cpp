// Exported entry points of the UTF-8 routines and the UCS-2/UTF-8 conversions.
#include "kxsupt/text.h"
#include "text/utf.h"
#include "text/utf8.h"

namespace kt = kx::text;

extern "C" {

SMStatus SMUCS2StrToUTF8Str(char *pUTF8Out, uint32_t *pSize, const uint16_t *pUCS2In) {
  return kx::ToC(kt::UCS2StrToUTF8Str(pUTF8Out, pSize, pUCS2In));
}
SMStatus SMUTF8StrToUCS2Str(uint16_t *pUCS2Out, uint32_t *pSize, const char *pUTF8In) {
  return kx::ToC(kt::UTF8StrToUCS2Str(pUCS2Out, pSize, pUTF8In));
}
char *SMUTF8ltrim(char *pStr) {
  return kt::UTF8ltrim(pStr);
}
char *SMUTF8rtrim(char *pStr) {
  return kt::UTF8rtrim(pStr);
}
char *SMUTF8trim(char *pStr) {
  return kt::UTF8trim(pStr);
}
char *SMUTF8StrUpperCase(char *pStr) {
  return kt::UTF8StrUpperCase(pStr);
}
char *SMUTF8StrLowerCase(char *pStr) {
  return kt::UTF8StrLowerCase(pStr);
}
void SMUTF8Strrev(char *pStr) {
  kt::UTF8Strrev(pStr);
}
char *SMUTF8Strdup(const char *pStr) {
  return kt::UTF8Strdup(pStr);
}
int32_t SMUTF8Strnicmp(const char *pA, const char *pB, uint32_t n) {
  return kt::UTF8Strnicmp(pA, pB, n);
}
char *SMUTF8Strstri(const char *pHaystack, const char *pNeedle) {
  return kt::UTF8Strstri(pHaystack, pNeedle);
}

}  // extern "C"
