// Exported entry points of the XML generation buffer and the XML escaper.
#include "kxsupt/xml.h"

#include "xml/buffer.h"

using kx::xml::AsBuffer;

extern "C" {

SMXGBuf *SMXGBufAlloc(uint32_t capacity, uint32_t declFlag) {
  return reinterpret_cast<SMXGBuf *>(kx::xml::XGBufAlloc(capacity, declFlag));
}
char *SMXGBufReAllocContent(SMXGBuf *pBuf, uint32_t capacity, uint32_t declFlag) {
  return kx::xml::XGBufReAllocContent(AsBuffer(pBuf), capacity, declFlag);
}
void SMXGBufFree(SMXGBuf *pBuf) {
  kx::xml::XGBufFree(AsBuffer(pBuf));
}
char *SMXGBufFreeGetContent(SMXGBuf *pBuf) {
  return kx::xml::XGBufFreeGetContent(AsBuffer(pBuf));
}
void SMXGBufFreeContent(char *pContent) {
  kx::xml::XGBufFreeContent(pContent);
}
SMStatus SMXGBufCatBeginNode(SMXGBuf *pBuf, const char *pName, const SMXGBuf *pAttrs) {
  return kx::ToC(kx::xml::XGBufCatBeginNode(AsBuffer(pBuf), pName, AsBuffer(pAttrs)));
}
SMStatus SMXGBufCatEndNode(SMXGBuf *pBuf, const char *pName) {
  return kx::ToC(kx::xml::XGBufCatEndNode(AsBuffer(pBuf), pName));
}
SMStatus SMXGBufCatEmptyNode(SMXGBuf *pBuf, const char *pName, const SMXGBuf *pAttrs) {
  return kx::ToC(kx::xml::XGBufCatEmptyNode(AsBuffer(pBuf), pName, AsBuffer(pAttrs)));
}
SMStatus SMXGBufCatNodeValue(SMXGBuf *pBuf, const void *pValue, uint32_t valueSize,
                             uint32_t valueType, const SMXGBufFormat *pFormat) {
  return kx::ToC(kx::xml::XGBufCatNodeValue(AsBuffer(pBuf), pValue, valueSize, valueType, pFormat));
}
SMStatus SMXGBufCatNode(SMXGBuf *pBuf, const char *pName, const SMXGBuf *pAttrs, const void *pValue,
                        uint32_t valueSize, uint32_t valueType, const SMXGBufFormat *pFormat) {
  return kx::ToC(kx::xml::XGBufCatNode(AsBuffer(pBuf), pName, AsBuffer(pAttrs), pValue, valueSize,
                                       valueType, pFormat));
}
SMStatus SMXGBufCatAttribute(SMXGBuf *pAttrs, const char *pName, const void *pValue,
                             uint32_t valueSize, uint32_t valueType, const SMXGBufFormat *pFormat) {
  return kx::ToC(
      kx::xml::XGBufCatAttribute(AsBuffer(pAttrs), pName, pValue, valueSize, valueType, pFormat));
}
char *SMXGEscapeXMLUTF8Str(const char *pText, uint32_t *pSize, uint32_t passes) {
  return kx::xml::XGEscapeXMLUTF8Str(pText, pSize, passes);
}

}  // extern "C"
