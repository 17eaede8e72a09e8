/*
 * kxsupt: log family. The product's event log in its three targets (a UTF-16
 * text file, an XML file and the system logger), and rotated 8-bit logs.
 *
 * Every function runs on the caller's thread. Texts passed in are UTF-8.
 */
#ifndef KXSUPT_LOG_H
#define KXSUPT_LOG_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

/* ---- Event vocabulary ---------------------------------------------------
 *
 * Event types (16-bit): 0 none, 1 error, 2 warning, 4 information, 8 audit
 * success, 16 audit failure. Categories (16-bit) name the reporting service:
 * 1 "Core Broker", 2 "Wexbridge Service", 3 "Volume Service", 4 "Bridge
 * Service", 5 "Host Agent Core", 6 "Release Ledger".
 */

/* ---- System log ---------------------------------------------------------
 *
 * One event becomes one line for the system logger:
 * "<category name> EventID: <id>  <description>", cut at 2,047 bytes, every
 * carriage return turned into a blank (line feeds stay). The logger is opened
 * with `pSource` as identity, LOG_NDELAY and facility LOG_DAEMON, and closed
 * again after the message: the identity is process-wide state, so concurrent
 * callers may interleave identities. Priority: type 1 LOG_ERR, type 2
 * LOG_WARNING, any other type LOG_INFO. The library reports its own failures
 * (semaphore sets that cannot be created) under the identity
 * "Tarvex (Shared Library)".
 */

/* Logs one event. 0, or all ones for a category outside 1 to 6 or no memory.
 * A null description counts as empty. */
KXSUPT_API SMStatus SMAppendToOSSysLog(uint16_t type, uint16_t category, uint32_t eventID,
                                       const char *pSource, const char *pDesc);

KXSUPT_END_DECLS

#endif /* KXSUPT_LOG_H */
