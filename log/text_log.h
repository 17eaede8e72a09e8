// The UTF-16 text event log (kxsys32.log): a fixed 256-byte header block, then
// records of labelled lines in the library's UCS-2 code units in memory order
// (UTF-16LE on this host), each ending with the hex dump of the event's data.
// Appends and clears of one file are serialised across processes by the
// library's file lock on the file's path.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

#include "base/status.h"
#include "log/log_strings.h"

namespace kx::log {

// The header block: FF FE and 127 characters of UTF-16LE. It is a byte
// constant, written as it is whatever the host's byte order.
inline constexpr size_t kTextLogHeaderSize = 256;
extern const std::array<unsigned char, kTextLogHeaderSize> kTextLogHeader;

// Longest source and description of a text-log event, in UCS-2 characters.
inline constexpr uint32_t kTextSourceLimit = 1023;
inline constexpr uint32_t kTextDescriptionLimit = 16383;
// Bytes of the host name written.
inline constexpr size_t kTextHostRoom = 64;

// One event as the text log writes it; texts are UTF-8.
struct TextEvent {
  uint16_t type;
  uint16_t category;
  uint32_t event_id;
  const char *source;
  const char *description;
  const void *data;
  uint32_t data_size;
};

// Appends the hex dump of `size` bytes to `out`: lines of 16 bytes, each
// "0x%08X: " with the offset, the bytes as "XX " (upper case) and, from
// column 62, the bytes as characters ('.' for those that do not print); lines
// are separated by CR LF, the last one has none. Nothing for no bytes.
void AppendHexDump(const uint8_t *data, uint32_t size, U16String *out);

// The record of `event` stamped with `when` and `host`: the eight fields
// "EventID: ", "Source: ", "Category: ", the type label, "Date and Time: "
// (ctime without its newline), "Computer: ", "Description:" CR LF text, and
// "Data: Bytes in Hex" CR LF dump, each ending with CR LF. The category and
// type must be known ones. Statuses: 0; 2 for a source or description that is
// empty, too long or not UTF-8.
Status BuildTextRecord(const TextEvent &event, time_t when, const char *host, U16String *record);

// Appends one event to the text log at `path`, rotating it to its backup
// first when its size plus the record's estimate reaches `max_size`.
// Statuses: 0 (also for an unknown category, which writes nothing); 2 for a
// missing path or source, data size above 32,768 or without data, a source
// or description that is empty or too long, an unknown type; all ones when
// the directory cannot be created or the file opened; 272 when the file lock
// cannot be made; 19 for a failed write.
Status AppendToTextLog(const char *path, const TextEvent &event, uint32_t max_size);

// Deletes the text log at `path` under its lock, then appends the entry
// "Log was cleared" (type 4, the category, event identifier 0, the source)
// with the default maximum size. 272 when the lock cannot be made; otherwise
// the append's status.
Status ClearTextLog(const char *path, uint16_t category, const char *source);

}  // namespace kx::log
