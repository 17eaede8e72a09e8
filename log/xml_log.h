// The XML event log (kxsys32.xml): the declaration, "<EventLog>", one
// LogEntry element per event and the closing "</EventLog>", in front of which
// each new element is inserted. Appends and clears of one file are
// serialised across processes by the library's file lock on its path.
#pragma once

#include <cstdint>
#include <string>

#include "base/status.h"
#include "log/log_strings.h"

namespace kx::log {

inline constexpr char kEventLogOpen[] = "<EventLog>";
inline constexpr char kEventLogClose[] = "</EventLog>";
inline constexpr uint32_t kEventLogCloseSize = sizeof kEventLogClose - 1;
// Files shorter than the declaration are started afresh.
inline constexpr uint32_t kXmlLogPreambleSize = 38;
// Longest user information or source, and description, in bytes.
inline constexpr uint32_t kXmlTextLimit = 511;
inline constexpr uint32_t kXmlDescriptionLimit = 8191;
// The link of every clear entry.
inline constexpr char kClearEntryLink[] =
    "help/nrq/en/msgguide/wwhelp/wwhimpl/common/html/wwhelp.htm?context=Messages_Guide&topic=0000";

// One event as the XML log writes it; texts are UTF-8, null ones give empty
// elements.
struct XmlEvent {
  uint16_t type;
  uint16_t category;
  uint32_t event_id;
  const char *user_info;
  const char *source;
  const char *description;
  const char *link;
  const void *data;
  uint32_t data_size;
};

// The LogEntry element of `event` stamped with `when` and `host`, children in
// this order: TimeStamp (64-bit seconds), DateTime (the same time as local
// ctime text), ComputerName, Type, ID, Link, UserInfo, Source, Category (the
// name), Description, Data ("0x%02X," per byte). Texts are XML-escaped once.
// Statuses: 0; all ones for an unknown category or when the generation buffer
// cannot be made; 272 when a value cannot be written for lack of memory.
Status BuildLogEntry(const XmlEvent &event, int64_t when, const char *host, String *element);

// Appends one LogEntry to the XML log at `path`, rotating it to its backup
// first when its size plus the element's length reaches `max_size`.
// Statuses: 0; 2 for a missing path, data size above 32,768 or without data,
// a user information or source outside 1 to 511 bytes, a description outside
// 1 to 8,191 bytes; all ones when the directory cannot be created, the file
// cannot be opened or the category is unknown; 272 when the lock or the host
// name buffer cannot be had; 257 when a file of 38 bytes or more has no
// closing tag at or after byte 38 (nothing is written); 19 for a failed write.
Status AppendToXMLLog(const char *path, const XmlEvent &event, uint32_t max_size);

// Deletes the XML log at `path` under its lock, then appends the entry "Log
// was cleared" (type 4, the category, event identifier 0, the user
// information and source, the clear link) with the default maximum size.
// 2 for a null path; 272 when the lock cannot be made; else the append's.
Status ClearXMLLog(const char *path, uint16_t category, const char *user_info, const char *source);

// SMForceXMLLogExists: looks up the file's size and returns 0; it creates
// nothing.
Status ForceXMLLogExists(const char *path);

}  // namespace kx::log
