// Exported entry points of typed value translation and separated-value lists.
#include "kxsupt/values.h"

#include "values/translation.h"

extern "C" {

SMStatus SMXLTUTF8ToTypeValue(const char *pText, void *pValue, uint32_t *pSize, uint32_t type) {
  return kx::values::XltTextToValue(pText, pValue, pSize, type);
}
SMStatus SMXLTTypeValueToUTF8(const void *pValue, uint32_t valueSize, char *pText, uint32_t *pSize,
                              uint32_t type) {
  return kx::values::XltValueToText(pValue, valueSize, pText, pSize, type);
}
char *SMUTF8ConvertXSVToYSV(const char *pText, char from, char to, uint32_t *pCount,
                            uint32_t *pSize) {
  return kx::values::ConvertSeparatedValues(pText, from, to, pCount, pSize);
}

}  // extern "C"
