// Exported entry points of typed value translation and separated-value lists.
#include "kxsupt/values.h"

#include "values/translation.h"

extern "C" {

SMStatus SMXLTUTF8ToTypeValue(const char *pText, void *pValue, uint32_t *pSize, uint32_t type) {
  return kx::ToC(kx::values::XLTUTF8ToTypeValue(pText, pValue, pSize, type));
}
SMStatus SMXLTTypeValueToUTF8(const void *pValue, uint32_t valueSize, char *pText, uint32_t *pSize,
                              uint32_t type) {
  return kx::ToC(kx::values::XLTTypeValueToUTF8(pValue, valueSize, pText, pSize, type));
}
char *SMUTF8ConvertXSVToYSV(const char *pText, char from, char to, uint32_t *pCount,
                            uint32_t *pSize) {
  return kx::values::UTF8ConvertXSVToYSV(pText, from, to, pCount, pSize);
}

}  // extern "C"
