// Exported entry points of the self-sizing strings. Each Cat form is its NCat
// form with n = 0 (the whole source).
#include "kxsupt/text.h"
#include "text/sstring.h"

namespace kt = kx::text;

extern "C" {

uint16_t *SMSSUCS2StrAlloc(SMSSStr *pSS, uint32_t capacity) {
  return kt::SSUCS2StrAlloc(pSS, capacity);
}
char *SMSSUTF8StrAlloc(SMSSStr *pSS, uint32_t capacity) {
  return kt::SSUTF8StrAlloc(pSS, capacity);
}
uint16_t *SMSSUCS2StrCatUCS2Str(SMSSStr *pSS, const uint16_t *pSrc) {
  return kt::SSUCS2StrNCatUCS2Str(pSS, pSrc, 0);
}
uint16_t *SMSSUCS2StrNCatUCS2Str(SMSSStr *pSS, const uint16_t *pSrc, uint32_t n) {
  return kt::SSUCS2StrNCatUCS2Str(pSS, pSrc, n);
}
uint16_t *SMSSUCS2StrCatUTF8Str(SMSSStr *pSS, const char *pSrc) {
  return kt::SSUCS2StrNCatUTF8Str(pSS, pSrc, 0);
}
uint16_t *SMSSUCS2StrNCatUTF8Str(SMSSStr *pSS, const char *pSrc, uint32_t n) {
  return kt::SSUCS2StrNCatUTF8Str(pSS, pSrc, n);
}
char *SMSSUTF8StrCatUTF8Str(SMSSStr *pSS, const char *pSrc) {
  return kt::SSUTF8StrNCatUTF8Str(pSS, pSrc, 0);
}
char *SMSSUTF8StrNCatUTF8Str(SMSSStr *pSS, const char *pSrc, uint32_t n) {
  return kt::SSUTF8StrNCatUTF8Str(pSS, pSrc, n);
}
char *SMSSUTF8StrCatUCS2Str(SMSSStr *pSS, const uint16_t *pSrc) {
  return kt::SSUTF8StrNCatUCS2Str(pSS, pSrc, 0);
}
char *SMSSUTF8StrNCatUCS2Str(SMSSStr *pSS, const uint16_t *pSrc, uint32_t n) {
  return kt::SSUTF8StrNCatUCS2Str(pSS, pSrc, n);
}
void SMSSUCS2StrFree(SMSSStr *pSS) {
  kt::SSUCS2StrFree(pSS);
}
void SMSSUTF8StrFree(SMSSStr *pSS) {
  kt::SSUTF8StrFree(pSS);
}

}  // extern "C"
