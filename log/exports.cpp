// Exported entry points of the log family: the event log, rotated logs and the
// system log.
#include "kxsupt/log.h"

#include "log/event_log.h"
#include "log/max_size.h"
#include "log/rotated_log.h"
#include "log/system_log.h"
#include "log/xml_log.h"

using kx::ToC;

extern "C" {

SMStatus SMAppendToLog(uint32_t logFlags, uint16_t type, uint16_t category, uint32_t eventID,
                       const char *pSource, const char *pDesc, const void *pData,
                       uint32_t dataSize) {
  return ToC(
      kx::log::AppendToLog(logFlags, type, category, eventID, pSource, pDesc, pData, dataSize));
}
SMStatus SMAppendToXMLLog(const char *pPath, uint16_t type, uint16_t category, uint32_t eventID,
                          const char *pUserInfo, const char *pSource, const char *pDesc,
                          const char *pLink, const void *pData, uint32_t dataSize,
                          uint32_t maxSize) {
  return ToC(kx::log::AppendToXMLLog(
      pPath, {type, category, eventID, pUserInfo, pSource, pDesc, pLink, pData, dataSize},
      maxSize));
}
SMStatus SMClearLog(uint32_t logFlags, uint16_t category, const char *pSource) {
  return ToC(kx::log::ClearLog(logFlags, category, pSource));
}
SMStatus SMClearXMLLog(const char *pPath, uint16_t category, const char *pUserInfo,
                       const char *pSource) {
  return ToC(kx::log::ClearXMLLog(pPath, category, pUserInfo, pSource));
}
SMStatus SMForceXMLLogExists(const char *pPath) {
  return ToC(kx::log::ForceXMLLogExists(pPath));
}
SMStatus SMGetLogPathFileName(uint32_t logFlags, char *pBuf, uint32_t *pSize) {
  return ToC(kx::log::GetLogPathFileName(logFlags, pBuf, pSize));
}
SMStatus SMGetBackupLogPathFileName(uint32_t logFlags, char *pBuf, uint32_t *pSize) {
  return ToC(kx::log::GetBackupLogPathFileName(logFlags, pBuf, pSize));
}
SMStatus SMGetBackupXMLLogPathFileName(const char *pPath, char *pBuf, uint32_t *pSize) {
  return ToC(kx::log::GetBackupXMLLogPathFileName(pPath, pBuf, pSize));
}
SMStatus SMGetLogMaxSize(const char *pPath, uint32_t *pSize) {
  return ToC(kx::log::GetLogMaxSize(pPath, pSize));
}
SMStatus SMSetLogMaxSize(const char *pPath, uint32_t size) {
  return ToC(kx::log::SetLogMaxSize(pPath, size));
}

SMStatus SMFileLogMsgToRotatedLog(const char *pMsg, const char *pPath, uint32_t maxSize,
                                  uint32_t rotateCount, uint32_t options) {
  return ToC(kx::log::FileLogMsgToRotatedLog(pMsg, pPath, maxSize, rotateCount, options));
}
void SMFileRotateCheck(const char *pPath, uint32_t maxSize, uint32_t rotateCount) {
  kx::log::FileRotateCheck(pPath, maxSize, rotateCount);
}
void SMFileDeleteRotated(const char *pPath, uint32_t deleteGenerations, uint32_t rotateCount) {
  kx::log::FileDeleteRotated(pPath, deleteGenerations, rotateCount);
}

SMStatus SMAppendToOSSysLog(uint16_t type, uint16_t category, uint32_t eventID, const char *pSource,
                            const char *pDesc) {
  return ToC(kx::log::AppendToOSSysLog(type, category, eventID, pSource, pDesc));
}

}  // extern "C"
