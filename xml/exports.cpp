// Exported entry points of the XML generation buffer and the XML escaper.
#include "kxsupt/xml.h"

#include "xml/buffer.h"

using kx::text::AsXmlBuffer;

extern "C" {

SMXGBuf *SMXGBufAlloc(uint32_t capacity, uint32_t declFlag) {
  return reinterpret_cast<SMXGBuf *>(kx::text::XmlAlloc(capacity, declFlag));
}
char *SMXGBufReAllocContent(SMXGBuf *pBuf, uint32_t capacity, uint32_t declFlag) {
  return kx::text::XmlReAllocContent(AsXmlBuffer(pBuf), capacity, declFlag);
}
void SMXGBufFree(SMXGBuf *pBuf) {
  kx::text::XmlFree(AsXmlBuffer(pBuf));
}
char *SMXGBufFreeGetContent(SMXGBuf *pBuf) {
  return kx::text::XmlFreeGetContent(AsXmlBuffer(pBuf));
}
void SMXGBufFreeContent(char *pContent) {
  kx::text::XmlFreeContent(pContent);
}
SMStatus SMXGBufCatBeginNode(SMXGBuf *pBuf, const char *pName, const SMXGBuf *pAttrs) {
  return kx::text::XmlBeginNode(AsXmlBuffer(pBuf), pName, AsXmlBuffer(pAttrs));
}
SMStatus SMXGBufCatEndNode(SMXGBuf *pBuf, const char *pName) {
  return kx::text::XmlEndNode(AsXmlBuffer(pBuf), pName);
}
SMStatus SMXGBufCatEmptyNode(SMXGBuf *pBuf, const char *pName, const SMXGBuf *pAttrs) {
  return kx::text::XmlEmptyNode(AsXmlBuffer(pBuf), pName, AsXmlBuffer(pAttrs));
}
SMStatus SMXGBufCatNodeValue(SMXGBuf *pBuf, const void *pValue, uint32_t valueSize,
                             uint32_t valueType, const SMXGBufFormat *pFormat) {
  return kx::text::XmlNodeValue(AsXmlBuffer(pBuf), pValue, valueSize, valueType, pFormat);
}
SMStatus SMXGBufCatNode(SMXGBuf *pBuf, const char *pName, const SMXGBuf *pAttrs, const void *pValue,
                        uint32_t valueSize, uint32_t valueType, const SMXGBufFormat *pFormat) {
  return kx::text::XmlNode(AsXmlBuffer(pBuf), pName, AsXmlBuffer(pAttrs), pValue, valueSize,
                           valueType, pFormat);
}
SMStatus SMXGBufCatAttribute(SMXGBuf *pAttrs, const char *pName, const void *pValue,
                             uint32_t valueSize, uint32_t valueType, const SMXGBufFormat *pFormat) {
  return kx::text::XmlAttribute(AsXmlBuffer(pAttrs), pName, pValue, valueSize, valueType, pFormat);
}
char *SMXGEscapeXMLUTF8Str(const char *pText, uint32_t *pSize, uint32_t passes) {
  return kx::text::EscapeXml(pText, pSize, passes);
}

}  // extern "C"
