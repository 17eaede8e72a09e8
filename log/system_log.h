// The system-log target of the event log: one product event forwarded to the
// system logger as a single line "<category> EventID: <id>  <description>",
// under the caller's identity (openlog with LOG_NDELAY and LOG_DAEMON, syslog,
// closelog around each message), and the library's own reports under its own
// identity. No lock is taken: the logger's identity is process-wide state, so
// concurrent callers may interleave identities.
#pragma once

#include <cstdint>

#include "base/status.h"

namespace kx::log {

// The identity under which the library reports its own failures.
inline constexpr char kLibraryIdentity[] = "Tarvex (Shared Library)";

// Bytes of the message buffer, terminator included; longer text is cut.
inline constexpr uint32_t kSystemLogMessageRoom = 2048;

// SMAppendToOSSysLog: logs one event at LOG_ERR (type 1), LOG_WARNING (type
// 2) or LOG_INFO (any other type), facility LOG_DAEMON, with `source` as the
// identity. Statuses: 0; all ones when the message buffer cannot be had, the
// category is not 1 to 6 or the identifier cannot be converted. A null
// description counts as empty.
Status AppendToOSSysLog(uint16_t type, uint16_t category, uint32_t event_id, const char *source,
                        const char *description);

// A report of the library itself: type 4, category 1, event identifier 0,
// under kLibraryIdentity. Statuses as AppendToOSSysLog.
Status ReportLibraryEvent(const char *description);

// Writes the message exactly as it is handed to the logger into `message`
// (kSystemLogMessageRoom bytes), cut there and with every carriage return
// turned into a blank; false for an unknown category or an identifier that
// cannot be converted.
bool SystemLogMessage(uint16_t category, uint32_t event_id, const char *description, char *message);

// The logger priority of an event type (LOG_ERR, LOG_WARNING or LOG_INFO).
int SystemLogPriority(uint16_t type);

// Test seam: sends every message to the unix datagram socket at `socket_path`
// instead of the system logger, as the datagram the C library's logger sends
// ("<PRI>Mmm dd hh:mm:ss identity: message", PRI = facility | priority). A
// null path restores the system logger.
void SetSystemLogSocketForTesting(const char *socket_path);

}  // namespace kx::log
