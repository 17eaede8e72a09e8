// Exported entry points of the XML generation buffer and the XML escaper.
#include "kxsupt/xml.h"

#include "xml/buffer.h"

using kx::xml::AsXmlBuffer;

extern "C" {

SMXGBuf *SMXGBufAlloc(uint32_t capacity, uint32_t declFlag) {
  return reinterpret_cast<SMXGBuf *>(kx::xml::XmlAlloc(capacity, declFlag));
}
char *SMXGBufReAllocContent(SMXGBuf *pBuf, uint32_t capacity, uint32_t declFlag) {
  return kx::xml::XmlReAllocContent(AsXmlBuffer(pBuf), capacity, declFlag);
}
void SMXGBufFree(SMXGBuf *pBuf) {
  kx::xml::XmlFree(AsXmlBuffer(pBuf));
}
char *SMXGBufFreeGetContent(SMXGBuf *pBuf) {
  return kx::xml::XmlFreeGetContent(AsXmlBuffer(pBuf));
}
void SMXGBufFreeContent(char *pContent) {
  kx::xml::XmlFreeContent(pContent);
}
SMStatus SMXGBufCatBeginNode(SMXGBuf *pBuf, const char *pName, const SMXGBuf *pAttrs) {
  return kx::xml::XmlBeginNode(AsXmlBuffer(pBuf), pName, AsXmlBuffer(pAttrs));
}
SMStatus SMXGBufCatEndNode(SMXGBuf *pBuf, const char *pName) {
  return kx::xml::XmlEndNode(AsXmlBuffer(pBuf), pName);
}
SMStatus SMXGBufCatEmptyNode(SMXGBuf *pBuf, const char *pName, const SMXGBuf *pAttrs) {
  return kx::xml::XmlEmptyNode(AsXmlBuffer(pBuf), pName, AsXmlBuffer(pAttrs));
}
SMStatus SMXGBufCatNodeValue(SMXGBuf *pBuf, const void *pValue, uint32_t valueSize,
                             uint32_t valueType, const SMXGBufFormat *pFormat) {
  return kx::xml::XmlNodeValue(AsXmlBuffer(pBuf), pValue, valueSize, valueType, pFormat);
}
SMStatus SMXGBufCatNode(SMXGBuf *pBuf, const char *pName, const SMXGBuf *pAttrs, const void *pValue,
                        uint32_t valueSize, uint32_t valueType, const SMXGBufFormat *pFormat) {
  return kx::xml::XmlNode(AsXmlBuffer(pBuf), pName, AsXmlBuffer(pAttrs), pValue, valueSize,
                           valueType, pFormat);
}
SMStatus SMXGBufCatAttribute(SMXGBuf *pAttrs, const char *pName, const void *pValue,
                             uint32_t valueSize, uint32_t valueType, const SMXGBufFormat *pFormat) {
  return kx::xml::XmlAttribute(AsXmlBuffer(pAttrs), pName, pValue, valueSize, valueType, pFormat);
}
char *SMXGEscapeXMLUTF8Str(const char *pText, uint32_t *pSize, uint32_t passes) {
  return kx::xml::EscapeXml(pText, pSize, passes);
}

}  // extern "C"
