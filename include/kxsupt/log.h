/*
 * kxsupt: log family. The product's event log in its three targets (a UTF-16
 * text file, an XML file and the system logger), and rotated 8-bit logs.
 *
 * Every function runs on the caller's thread. Texts passed in are UTF-8. The
 * library keeps nothing between calls but the table of maximum sizes: every
 * append opens, writes and closes its file.
 */
#ifndef KXSUPT_LOG_H
#define KXSUPT_LOG_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

/* ---- Event vocabulary ---------------------------------------------------
 *
 * Selector flags (ORed): 2 the system log, 4 the text log, 8 the XML log.
 * Event types (16-bit), with the label the text log writes: 0 "Type: None",
 * 1 "Type: Error", 2 "Type: Warning", 4 "Type: Information", 8 "Type: Audit
 * Success", 16 "Type: Audit Failure". Categories (16-bit) name the reporting
 * service: 1 "Core Broker", 2 "Wexbridge Service", 3 "Volume Service",
 * 4 "Bridge Service", 5 "Host Agent Core", 6 "Release Ledger".
 */

/* ---- Event log (text and XML) ------------------------------------------
 *
 * The default logs are "<dir>/log/kxsys32.log" and "<dir>/log/kxsys32.xml",
 * <dir> being the log path (type 8) of product 35 in the product registry.
 * A log's backup is its path with the last character replaced by '_'
 * ("kxsys32.lo_", "kxsys32.xm_").
 *
 * Text log, byte for byte: a 256-byte header block (FF FE and the UTF-16LE
 * text "#-------------------------------\r\n# Do not remove this block\r\n
 * # This data file is parsed\r\n#------------------------------- \r\n\r\n",
 * written whenever the file holds fewer than 256 bytes), then records in
 * UTF-16LE without terminators, each line ending in CR LF:
 *   "EventID: <decimal>", "Source: <source>", "Category: <name>", the type
 *   label, "Date and Time: <ctime text>", "Computer: <host name, at most 64
 *   bytes>", "Description:" and on the next line the text, "Data: Bytes in
 *   Hex" and on the next lines the hex dump: 16 bytes a line,
 *   "0x%08X: " with the offset, "XX " per byte, from column 62 the bytes as
 *   characters ('.' for those that do not print); no line for no data.
 * Sources hold 1 to 1,023 characters, descriptions 1 to 16,383.
 *
 * XML log (UTF-8, no line breaks): the declaration
 * <?xml version="1.0" encoding="UTF-8"?>, <EventLog>, one <LogEntry> per
 * event, </EventLog>. A file shorter than 38 bytes is started afresh; in a
 * longer one the last "</EventLog>" starting at or after byte 38 is found by
 * a backward search and the new element written in its place, followed by
 * the tag (anything after the tag is overwritten). LogEntry children, in
 * order: TimeStamp (seconds since 1970), DateTime (the same time as local
 * ctime text), ComputerName, Type, ID, Link, UserInfo, Source, Category (the
 * name), Description, Data ("0x%02X," per byte). Texts are XML-escaped; a
 * null text gives an empty element. User information and source hold 1 to
 * 511 bytes, descriptions 1 to 8,191; data at most 32,768 bytes.
 *
 * Maximum sizes: a per-process table of (path, size), default 1,048,576,
 * settable from 1,048,576 to 4,194,304. An append that would bring a log's
 * size plus its estimate of the new record to the maximum first renames the
 * log to its backup (deleting the old one) and starts the new log with the
 * entry "Log backup created" (type 4, category 1, event 1); the size check is
 * repeated under the lock, so concurrent appenders rotate once. A clear
 * deletes the log and writes the entry "Log was cleared" (type 4, event 0).
 *
 * Appends and clears are serialised across processes by the library's file
 * lock on the log's path (taken in write mode, waiting): records never
 * interleave. Each record goes out in one write; a write cut short by a
 * killed writer is undone by the next writer before it appends (the pending
 * write is noted in the extended attribute "user.kxsupt.append" of the log
 * while it lasts), so logs hold whole records and the XML log its closing
 * tag.
 *
 * Statuses: 1 the system log selected in a clear or path request; 2 a
 * missing or out-of-range argument, unknown type or selector 0; 16 buffer
 * too small (size out is the size needed); 19 a failed write; 257 an XML
 * file without "</EventLog>" after its first 38 bytes (nothing is written);
 * 271 a bad path or size for the maximum-size table, the backup name of a
 * path shorter than 2; 272 out of memory or the file lock cannot be made;
 * all ones: the directory cannot be created (mode 0755), the file cannot be
 * opened, an unknown category in the XML log. A failing registry lookup's
 * status is passed on (256 no log path, 257 the path does not exist).
 */

/* Appends one event to each selected log: bit 2 the system log (first), bit
 * 4 the default text log (its status is not reported: the result becomes 0),
 * bit 8 the default XML log without user information or link (its status is
 * the result). The maximum size is the one recorded for the log's path. An
 * unknown category writes nothing to the text log. */
KXSUPT_API SMStatus SMAppendToLog(uint32_t logFlags, uint16_t type, uint16_t category,
                                  uint32_t eventID, const char *pSource, const char *pDesc,
                                  const void *pData, uint32_t dataSize);
/* Appends one LogEntry to the XML file at pPath (its directory is created if
 * needed), with maxSize as the file's maximum size. */
KXSUPT_API SMStatus SMAppendToXMLLog(const char *pPath, uint16_t type, uint16_t category,
                                     uint32_t eventID, const char *pUserInfo,
                                     const char *pSource, const char *pDesc, const char *pLink,
                                     const void *pData, uint32_t dataSize, uint32_t maxSize);
/* Deletes the selected default logs (bit 4 text, then bit 8 XML) and writes
 * "Log was cleared" in each; the XML entry has the user information "Local
 * System". Selector 0 is 2; bit 2 is 1 and nothing is cleared. */
KXSUPT_API SMStatus SMClearLog(uint32_t logFlags, uint16_t category, const char *pSource);
/* Deletes the XML file at pPath and writes "Log was cleared" with the given
 * user information and source and the messages-guide link. */
KXSUPT_API SMStatus SMClearXMLLog(const char *pPath, uint16_t category, const char *pUserInfo,
                                  const char *pSource);
/* Looks up the file's size and returns 0; it creates nothing. */
KXSUPT_API SMStatus SMForceXMLLogExists(const char *pPath);
/* The default path of the text log (bit 4) or the XML log (bit 8, which
 * wins). *pSize below 256 is 16 with *pSize 256; on success *pSize is the
 * length + 1 (a null buffer only measures). Selector 0 is 2, bit 2 is 1. */
KXSUPT_API SMStatus SMGetLogPathFileName(uint32_t logFlags, char *pBuf, uint32_t *pSize);
/* As SMGetLogPathFileName, the backup name of the selected log. */
KXSUPT_API SMStatus SMGetBackupLogPathFileName(uint32_t logFlags, char *pBuf, uint32_t *pSize);
/* The backup name of pPath. 271 for a path of length 0 or 1; 16 with *pSize
 * = length + 1 when the buffer is smaller; on success *pSize = length + 1 (a
 * null buffer only measures). */
KXSUPT_API SMStatus SMGetBackupXMLLogPathFileName(const char *pPath, char *pBuf,
                                                  uint32_t *pSize);
/* The maximum size recorded for pPath (exact text); a path not yet recorded
 * is entered with 1,048,576. 271 for a null or empty path. */
KXSUPT_API SMStatus SMGetLogMaxSize(const char *pPath, uint32_t *pSize);
/* Records a maximum size for pPath, replacing an earlier one. 271 for a null
 * or empty path, a path of 256 bytes or more, or a size outside 1,048,576 to
 * 4,194,304. */
KXSUPT_API SMStatus SMSetLogMaxSize(const char *pPath, uint32_t size);

/* ---- Rotated logs -------------------------------------------------------
 *
 * Plain 8-bit logs of any component. Each call appends one message, after a
 * rotation check, so a file may pass its maximum by the one message. Options
 * (ORed): 1 prefix the local time "[%b %d %Y %H:%M:%S] " ("[localtime error]
 * " or "[strftime error] " when it cannot be had), 2 prefix "[<pid>:<thread
 * id>] " (the thread id as SMThreadGetID gives it), 4 append "\n"; the time
 * comes first. A file larger than the maximum (equal does not rotate) is
 * deleted when the rotation count is 0; otherwise "path.(n-1)" becomes
 * "path.n" for n from the count down to 2 (whatever exists moves one step)
 * and the file becomes "path.1". No lock is taken: callers sharing a file
 * serialise themselves. Rename and delete failures are ignored.
 */

/* Appends prefix, message and suffix to pPath, keeping the file's permission
 * bits (0644 for a new one). 0; 271 for a null message or path; all ones
 * when the file cannot be opened or written. */
KXSUPT_API SMStatus SMFileLogMsgToRotatedLog(const char *pMsg, const char *pPath,
                                             uint32_t maxSize, uint32_t rotateCount,
                                             uint32_t options);
/* Rotates pPath when it is larger than maxSize. A null path does nothing. */
KXSUPT_API void SMFileRotateCheck(const char *pPath, uint32_t maxSize, uint32_t rotateCount);
/* With deleteGenerations 1 deletes "path.N" down to "path.1"; then deletes
 * the file itself. A null path does nothing. */
KXSUPT_API void SMFileDeleteRotated(const char *pPath, uint32_t deleteGenerations,
                                    uint32_t rotateCount);

/* ---- System log ---------------------------------------------------------
 *
 * One event becomes one line for the system logger:
 * "<category name> EventID: <id>  <description>", cut at 2,047 bytes, every
 * carriage return turned into a blank (line feeds stay). The logger is opened
 * with pSource as identity, LOG_NDELAY and facility LOG_DAEMON, and closed
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
