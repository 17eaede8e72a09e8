// Exported entry points of the MD5 message digest family (host byte order).
#include "kxsupt/codec.h"

#include "codec/md5.h"

extern "C" {

void SMRFC1321Load(SMRFC1321Context *pContext) {
  kx::codec::RFC1321Load(pContext);
}
void SMRFC1321AddMsg(SMRFC1321Context *pContext, const void *pData, uint32_t length) {
  kx::codec::RFC1321AddMsg<kx::codec::kMd5HostOrder>(pContext, static_cast<const uint8_t *>(pData),
                                                     length);
}
void SMRFC1321ComputeMsgDigest(SMRFC1321Context *pContext) {
  kx::codec::RFC1321ComputeMsgDigest<kx::codec::kMd5HostOrder>(pContext);
}
void SMRFC1321UnLoad(SMRFC1321Context *pContext) {
  kx::codec::RFC1321UnLoad(pContext);
}

}  // extern "C"
