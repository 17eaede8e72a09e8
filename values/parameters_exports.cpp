// Exported entry points of the name-value parameter family.
#include "kxsupt/values.h"

#include "values/parameters.h"

extern "C" {

int32_t SMIsValidParam(const char *pParam) {
  return kx::values::IsValidParam(pParam);
}
char *SMNVPGetUTF8ParamName(char *pParam) {
  return kx::values::NVPGetUTF8ParamName(pParam);
}
char *SMNVPGetUTF8ParamValue(const char *pParam) {
  return const_cast<char *>(kx::values::NVPGetUTF8ParamValue(pParam));
}
int32_t SMNVPGetParamIndexByUTF8Name(int32_t count, char **ppParams, const char *pName,
                                     uint32_t caseFlag) {
  return kx::values::NVPGetParamIndexByUTF8Name(count, ppParams, pName, caseFlag);
}
char *SMNVPGetUTF8ParamValueByUTF8Name(int32_t count, char **ppParams, const char *pName,
                                       uint32_t caseFlag) {
  return kx::values::NVPGetUTF8ParamValueByUTF8Name(count, ppParams, pName, caseFlag);
}
SMStatus SMNVPUTF8ToTypeValue(int32_t count, char **ppParams, const char *pName, uint32_t caseFlag,
                              void *pValue, uint32_t *pSize, uint32_t type) {
  return kx::ToC(
      kx::values::NVPUTF8ToTypeValue(count, ppParams, pName, caseFlag, pValue, pSize, type));
}
uint32_t SMNVPGetEnums32Value(int32_t count, char **ppParams, const char *pName, uint32_t caseFlag,
                              const SMEnum32Entry *pTable, uint32_t rowCount, uint32_t multiple) {
  return kx::values::NVPGetEnums32Value(count, ppParams, pName, caseFlag, pTable, rowCount,
                                        multiple);
}

}  // extern "C"
