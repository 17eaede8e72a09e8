// Exported entry points of files, directories, clocks, host facts and the PCI
// device-name reader.
#include "kxsupt/os.h"

#include "os/clock.h"
#include "os/files.h"
#include "os/host.h"
#include "os/pci_devices.h"

extern "C" {

SMStatus SMFileCopy(const char *pSrcPath, const char *pDestPath) {
  return kx::ToC(kx::os::FileCopy(pSrcPath, pDestPath));
}
SMStatus SMFileCopyAndSync(const char *pSrcPath, const char *pDestPath) {
  return kx::ToC(kx::os::FileCopyAndSync(pSrcPath, pDestPath));
}
SMStatus SMFileAppend(const char *pSrcPath, const char *pDestPath, int32_t copyPermissions) {
  return kx::ToC(kx::os::FileAppend(pSrcPath, pDestPath, copyPermissions));
}
SMStatus SMFileAppendAndSync(const char *pSrcPath, const char *pDestPath, int32_t copyPermissions) {
  return kx::ToC(kx::os::FileAppendAndSync(pSrcPath, pDestPath, copyPermissions));
}
SMStatus SMMkDir(const char *pPath) {
  return kx::ToC(kx::os::MkDir(pPath));
}
SMStatus SMRmDir(const char *pPath) {
  return kx::ToC(kx::os::RmDir(pPath));
}
SMStatus SMGetSizeOfFile(const char *pPath, uint32_t *pSize) {
  return kx::ToC(kx::os::GetSizeOfFile(pPath, pSize));
}
SMStatus SMDeleteFile(const char *pPath) {
  return kx::ToC(kx::os::DeleteFile(pPath));
}

uint64_t SMRefTicksGet(void) {
  return kx::os::RefTicksGet();
}
int32_t SMRefTicksDiffCheckTimer(uint64_t startTicks, uint64_t currentTicks, uint64_t limitTicks,
                                 uint64_t *pDiffTicks, uint16_t *pElapsed, uint16_t *pExceeded) {
  return kx::os::RefTicksDiffCheckTimer(startTicks, currentTicks, limitTicks, pDiffTicks, pElapsed,
                                        pExceeded);
}

uint32_t SMOSTypeGet(void) {
  return kx::os::OSTypeGet();
}
int32_t SMkbhit(void) {
  return kx::os::kbhit();
}
int32_t SMOSShutdown(uint32_t mode) {
  return kx::os::OSShutdown(mode);
}
int32_t SMLongFileNamesEnable(void) {
  return kx::os::LongFileNamesEnable();
}
int32_t SMLongFileNamesDisable(void) {
  return kx::os::LongFileNamesDisable();
}

SMStatus SMReadPCIDevFile(uint32_t vendorID, uint32_t deviceID, uint32_t subVendorID,
                          uint32_t subDeviceID, const char *pPath, char *pVendorName,
                          uint32_t *pVendorNameSize, char *pDeviceName, uint32_t *pDeviceNameSize) {
  return kx::ToC(kx::os::ReadPCIDevFile(vendorID, deviceID, subVendorID, subDeviceID, pPath,
                                        pVendorName, pVendorNameSize, pDeviceName,
                                        pDeviceNameSize));
}

}  // extern "C"
