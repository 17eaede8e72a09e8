// Readers of the event logs for "kxsupt log show": the UTF-16 text log and the
// XML log decoded into records. Both take the file's bytes as they are and
// never trust them: a stretch that does not decode as a whole record is
// counted as damaged and skipped, and reading goes on with the next record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kxtool {

// One event as either log holds it. Fields a log does not keep stay empty.
struct LogRecord {
  std::string event_id;
  std::string source, category, type, time, computer, description;
  std::string timestamp, user_info, link;  // XML only
  std::vector<uint8_t> data;
};

struct LogReading {
  bool header_ok = false;  // text: the 256-byte header block; XML: declaration and <EventLog>
  bool closed = true;      // XML: the document ends with </EventLog>
  std::vector<LogRecord> records;
  size_t damaged = 0;  // stretches skipped
};

// The text log: header block, then records of labelled UTF-16LE lines.
LogReading ReadTextLog(const std::vector<unsigned char> &bytes);
// The XML log: LogEntry elements between <EventLog> and </EventLog>.
LogReading ReadXmlLog(const std::vector<unsigned char> &bytes);
// True when the bytes start like a text log (FF FE) rather than XML.
bool LooksLikeTextLog(const std::vector<unsigned char> &bytes);

}  // namespace kxtool
