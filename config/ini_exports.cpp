// Exported entry points of the INI file engine and its temporary names.
#include "kxsupt/config.h"

#include "config/file_rewrite.h"
#include "config/ini.h"

using kx::ToC;

extern "C" {

SMStatus SMReadINIPathFileValue(const char *pSection, const char *pKey, uint32_t type, void *pValue,
                                uint32_t *pSize, const void *pDefault, uint32_t defaultSize,
                                const char *pPathFileName, uint32_t flags) {
  return ToC(kx::config::ReadINIPathFileValue(pSection, pKey, type, pValue, pSize, pDefault,
                                              defaultSize, pPathFileName, flags));
}
SMStatus SMWriteINIPathFileValue(const char *pSection, const char *pKey, uint32_t type,
                                 const void *pValue, uint32_t valueSize, const char *pPathFileName,
                                 uint32_t flags) {
  return ToC(kx::config::WriteINIPathFileValue(pSection, pKey, type, pValue, valueSize,
                                               pPathFileName, flags));
}
SMStatus SMReadINIFileValue(const char *pSection, const char *pKey, uint32_t type, void *pValue,
                            uint32_t *pSize, const void *pDefault, uint32_t defaultSize,
                            const char *pFileName, uint32_t flags) {
  return ToC(kx::config::ReadINIFileValue(pSection, pKey, type, pValue, pSize, pDefault,
                                          defaultSize, pFileName, flags));
}
SMStatus SMWriteINIFileValue(const char *pSection, const char *pKey, uint32_t type,
                             const void *pValue, uint32_t valueSize, const char *pFileName,
                             uint32_t flags) {
  return ToC(
      kx::config::WriteINIFileValue(pSection, pKey, type, pValue, valueSize, pFileName, flags));
}
char *SMReadINISectionKeyUTF8Value(const char *pSection, const char *pKey, const char *pDefault,
                                   uint32_t *pSize, const char *pPathFileName, uint32_t flags) {
  return kx::config::ReadINISectionKeyUTF8Value(pSection, pKey, pDefault, pSize, pPathFileName,
                                                flags);
}
uint32_t SMReadINIEnums32Value(const char *pSection, const char *pKey, const SMEnum32Entry *pTable,
                               uint32_t rowCount, uint32_t multiple, const char *pPathFileName,
                               uint32_t flags) {
  return kx::config::ReadINIEnums32Value(pSection, pKey, pTable, rowCount, multiple, pPathFileName,
                                         flags);
}
SMStatus SMGetTmpFile(const char *pDir, char *pName, uint32_t *pSize) {
  return ToC(kx::config::GetTmpFile(pDir, pName, pSize));
}

}  // extern "C"
