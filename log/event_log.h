// The product's default event log: the text and XML files in the "log"
// directory under the log path of product 35, the selector-driven append and
// clear that feed them (and the system log), and the path queries.
#pragma once

#include <cstdint>
#include <string>

#include "base/status.h"

namespace kx::log {

inline constexpr char kTextLogFileName[] = "kxsys32.log";
inline constexpr char kXmlLogFileName[] = "kxsys32.xml";
// The user information of the XML clear entry made by SMClearLog.
inline constexpr char kClearUserInfo[] = "Local System";

// Writes the default path "<log path of product 35>/log/<file>" of the text
// log (`xml` false) or the XML log into `path` (kLogPathRoom bytes); the
// registry lookup's status when it fails.
Status DefaultLogPath(bool xml, char *path);

// SMAppendToLog: selector bits 2 (system log, first), 4 (text log: its
// status is discarded and the result becomes 0) and 8 (XML log without user
// information or link: its status is the result). 2 for selector 0; all ones
// when the path buffer cannot be had; a failing path lookup's status.
Status AppendToLog(uint32_t flags, uint16_t type, uint16_t category, uint32_t event_id,
                   const char *source, const char *description, const void *data,
                   uint32_t data_size);

// SMClearLog: 2 for selector 0, 1 when bit 2 is set (nothing is cleared);
// bit 4 clears the text log (a failure is returned at once), then bit 8 the
// XML log with the user information "Local System".
Status ClearLog(uint32_t flags, uint16_t category, const char *source);

// SMGetLogPathFileName / SMGetBackupLogPathFileName: the default path (or its
// backup name) of the text log (bit 4) or the XML log (bit 8, which wins).
// 2 for selector 0 or without bit 4 or 8, or a null size; 1 for bit 2; 16
// with size 256 when *size is below 256; on success size = length + 1 (a null
// buffer only measures).
Status GetLogPathFileName(uint32_t flags, char *buffer, uint32_t *size);
Status GetBackupLogPathFileName(uint32_t flags, char *buffer, uint32_t *size);

// SMGetBackupXMLLogPathFileName: the backup name of `path`. 271 for a null
// path or size or a path of length 0 or 1; 16 with size = length + 1 when the
// buffer is smaller; on success size = length + 1 (a null buffer only
// measures).
Status GetBackupXMLLogPathFileName(const char *path, char *buffer, uint32_t *size);

}  // namespace kx::log
