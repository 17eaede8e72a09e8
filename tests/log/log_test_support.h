// Test support for the log family: a sandbox registry with a log path, an
// independent decoder of the UTF-16 text log, the XML log read back with
// libxml2, and small file helpers. The decoders are written from the file
// formats, not from the library's writers, so that they can judge them.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/config/sandbox.h"

namespace logtest {

// A sandbox registry whose product 35 has the log path dir()/logs, so that the
// default logs are dir()/logs/log/kxsys32.log and .xml.
class LogSandbox {
 public:
  LogSandbox();
  const std::string &dir() const { return sandbox_.dir(); }
  std::string Path(const std::string &name) const { return sandbox_.Path(name); }
  std::string LogDir() const { return dir() + "/logs"; }
  std::string TextLog() const { return LogDir() + "/log/kxsys32.log"; }
  std::string XmlLog() const { return LogDir() + "/log/kxsys32.xml"; }
  // Unloads and loads the library again; true when it attached.
  bool Reload() const { return sandbox_.Reload(); }

 private:
  kxtest::Sandbox sandbox_;
};

// One text-log record, field by field (texts as UTF-8).
struct TextRecord {
  uint32_t event_id = 0;
  std::string source, category, type_label, date, computer, description;
  std::vector<uint8_t> data;
};

// A decoded text log. Records are found by their "EventID: " line; a stretch
// that does not parse as a whole record counts as damaged and is skipped.
struct TextLog {
  bool header_ok = false;  // the 256-byte header block, byte for byte
  std::vector<TextRecord> records;
  size_t damaged = 0;
  bool tail_damaged = false;  // the last stretch is the damaged one
};
TextLog DecodeTextLog(const std::string &bytes);

// The header block as the format defines it.
std::string ExpectedTextHeader();

// UTF-16LE bytes of an ASCII/BMP UTF-8 text, and back.
std::string Utf16le(const std::u16string &text);
std::u16string FromUtf8(const std::string &utf8);
std::string ToUtf8(const std::u16string &text);

// One LogEntry: its children's names in order and their texts.
struct XmlEntry {
  std::vector<std::string> order;
  std::map<std::string, std::string> text;
};
// The entries of an XML log, or nullopt when the document is not well formed
// or its root is not EventLog. `error` (optional) gets the parser's message.
std::optional<std::vector<XmlEntry>> ParseXmlLog(const std::string &bytes,
                                                 std::string *error = nullptr);

using kxtest::FileExists;
using kxtest::ReadFile;
using kxtest::WriteFile;
mode_t ModeOf(const std::string &path);
// The C library's ctime text of `when` without the newline.
std::string CtimeOf(time_t when);
std::string HostName();

}  // namespace logtest
