// Exported entry points of the log family: the event log, rotated logs and the
// system log.
#include "kxsupt/log.h"

#include "log/system_log.h"

using kx::ToC;

extern "C" {

SMStatus SMAppendToOSSysLog(uint16_t type, uint16_t category, uint32_t eventID, const char *pSource,
                            const char *pDesc) {
  return ToC(kx::log::AppendToOSSysLog(type, category, eventID, pSource, pDesc));
}

}  // extern "C"
