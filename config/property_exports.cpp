// Exported entry points of the property files.
#include "kxsupt/config.h"

#include "config/property.h"

using kx::ToC;

extern "C" {

SMStatus SMPropertyFileReadValue(const char *pKey, uint32_t xltType, void *pValue, uint32_t *pSize,
                                 const void *pDefault, uint32_t defaultSize,
                                 const char *pPathFileName, uint32_t flags) {
  return ToC(kx::config::PropertyFileReadValue(pKey, xltType, pValue, pSize, pDefault, defaultSize,
                                               pPathFileName, flags));
}
SMStatus SMPropertyFileWriteValue(const char *pKey, uint32_t xltType, const void *pValue,
                                  uint32_t valueSize, const char *pPathFileName, uint32_t flags) {
  return ToC(
      kx::config::PropertyFileWriteValue(pKey, xltType, pValue, valueSize, pPathFileName, flags));
}

}  // extern "C"
