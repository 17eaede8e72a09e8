// Exported entry points of the process language and the string tables.
#include "kxsupt/config.h"

#include "config/language.h"
#include "config/string_table.h"

extern "C" {

uint32_t SMGetLocalLanguageID(void) {
  return kx::config::GetLocalLanguageID();
}
uint32_t SMGetUTF8StrFromIDPathFile(uint32_t strID, uint32_t *pLangID, const char *pPathFileName,
                                    char *pBuf, uint32_t *pSize) {
  return kx::config::GetUTF8StrFromIDPathFile(strID, pLangID, pPathFileName, pBuf, pSize);
}
uint32_t SMGetUCS2StrFromID(uint32_t strID, uint32_t *pLangID, uint16_t *pBuf, uint32_t *pSize) {
  return kx::config::GetUCS2StrFromID(strID, pLangID, pBuf, pSize);
}

}  // extern "C"
