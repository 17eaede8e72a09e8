// Exported entry points of the network family: host names, interface address
// lists and address conversions.
#include "kxsupt/net.h"

#include "net/address_text.h"
#include "net/host_name.h"
#include "net/interfaces.h"

namespace kn = kx::net;

extern "C" {

SMStatus SMGetIPHostName(char *pBuf, uint32_t *pSize) {
  return kx::ToC(kn::GetIPHostName(pBuf, pSize));
}
SMStatus SMUCS2GetIPHostName(uint16_t *pBuf, uint32_t *pSize) {
  return kx::ToC(kn::UCS2GetIPHostName(pBuf, pSize));
}
SMStatus SMGetDNSSuffixNameName(char *pBuf, uint32_t *pSize) {
  return kx::ToC(kn::GetDNSSuffixNameName(pBuf, pSize));
}
SMStatus SMGetIPAddrStrList(void *pReserved, uint32_t *pCount, char (*pSlots)[16]) {
  return kx::ToC(kn::GetIPAddrStrList(pReserved, pCount, pSlots));
}
SMStatus SMGetInetAddrStrList(uint32_t mode, uint32_t *pCount, SMInetAddrStr *pRecords) {
  return kx::ToC(kn::GetInetAddrStrList(mode, pCount, pRecords));
}
SMStatus SMIPAddrASCIIToNetwork(const char *pText, uint32_t *pAddress) {
  return kx::ToC(kn::IPAddrASCIIToNetwork(pText, pAddress));
}
SMStatus SMIPAddrNetworkToASCII(uint32_t address, char *pBuf, uint32_t *pSize) {
  return kx::ToC(kn::IPAddrNetworkToASCII(address, pBuf, pSize));
}
SMStatus SMInetAddrUTF8ToNetwork(uint32_t family, const char *pText, void *pBuf, uint32_t *pSize) {
  return kx::ToC(kn::InetAddrUTF8ToNetwork(family, pText, pBuf, pSize));
}
SMStatus SMInetAddrNetworkToUTF8(uint32_t family, const void *pAddr, uint32_t addrLen, char *pBuf,
                                 uint32_t *pSize) {
  return kx::ToC(kn::InetAddrNetworkToUTF8(family, pAddr, addrLen, pBuf, pSize));
}

}  // extern "C"
