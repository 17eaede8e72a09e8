// Exported entry points of the plain and shared library layers and the
// environment copy.
#include "kxsupt/os.h"

#include "os/environment.h"
#include "os/library.h"

namespace {

kx::os::LibraryHandle *AsLibrary(void *handle) {
  return static_cast<kx::os::LibraryHandle *>(handle);
}

}  // namespace

extern "C" {

void *SMLibLoad(const char *pPath) {
  return kx::os::LibLoad(pPath);
}
SMStatus SMLibUnLoad(void *pLib) {
  return kx::ToC(kx::os::LibUnLoad(AsLibrary(pLib)));
}
void *SMLibLinkToExportFN(void *pLib, const char *pFunctionName) {
  return kx::os::LibLinkToExportFN(AsLibrary(pLib), pFunctionName);
}
SMStatus SMLibUnLinkFromExportFN(void *pLib, void *pFunction) {
  return kx::ToC(kx::os::LibUnLinkFromExportFN(AsLibrary(pLib), pFunction));
}
void *SMFLibLinkToExportFN(const char *pUserName, const char *pLibPath, const char *pFunctionName) {
  return kx::os::FLibLinkToExportFN(pUserName, pLibPath, pFunctionName);
}
SMStatus SMFLibUnLoad(const char *pUserName, const char *pLibPath) {
  return kx::ToC(kx::os::FLibUnLoad(pUserName, pLibPath));
}
char *SMEnvDup(const char *pName, uint32_t *pSize) {
  return kx::os::EnvDup(pName, pSize);
}

}  // extern "C"
