// Exported entry points of the product registry, install paths and file
// property records.
#include "kxsupt/config.h"

#include "config/file_prop.h"
#include "config/registry.h"

using kx::ToC;

extern "C" {

SMStatus SMGetPathByProductIDandType(int32_t productID, uint32_t pathType, char *pBuf,
                                     uint32_t *pSize) {
  return ToC(kx::config::GetPathByProductIDandType(productID, pathType, pBuf, pSize));
}
SMStatus SMGetInstallPath(char *pBuf, uint32_t *pSize) {
  return ToC(kx::config::GetInstallPath(pBuf, pSize));
}
SMStatus SMGetInstallPathByProductID(int32_t productID, char *pBuf, uint32_t *pSize) {
  return ToC(kx::config::GetInstallPathByProductID(productID, pBuf, pSize));
}
SMStatus SMExpandVqInstallPathString(const char *pText, char *pBuf, uint32_t *pSize) {
  return ToC(kx::config::ExpandVqInstallPathString(pText, pBuf, pSize));
}
char *SMProductIDToSID(int32_t productID) {
  return kx::config::ProductIDToSID(productID);
}
int32_t SMProductSIDToID(const char *pSID) {
  return kx::config::ProductSIDToID(pSID);
}
char *SMMakePathFileNameByPIDAndType(int32_t productID, uint32_t pathType, const char *pSubDir,
                                     const char *pFileName) {
  return kx::config::MakePathFileNameByPIDAndType(productID, pathType, pSubDir, pFileName);
}
char *SMMakePathFileNameByPID(int32_t productID, const char *pSubDir, const char *pFileName) {
  return kx::config::MakePathFileNameByPID(productID, pSubDir, pFileName);
}
char *SMGetLocalizedPathFileName(const char *pRoot, const char *pDir, const char *pLanguage,
                                 const char *pSubDir, const char *pFileName) {
  return kx::config::GetLocalizedPathFileName(pRoot, pDir, pLanguage, pSubDir, pFileName);
}
SMFileProp *SMFilePropAlloc(const char *pPathFileName) {
  return kx::config::FilePropAlloc(pPathFileName);
}
int32_t SMFilePropIsModified(SMFileProp *pFileProp) {
  return kx::config::FilePropIsModified(pFileProp);
}
void SMFilePropFree(SMFileProp *pFileProp) {
  kx::config::FilePropFree(pFileProp);
}

}  // extern "C"
