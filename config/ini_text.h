// IniText: the one validated view through which INI file bytes are read, and
// the pure grammar routines on top of it: finding a value, listing sections
// and keys, and computing the edited text of a write. The bytes may be
// damaged or hostile: each line is cut to the reader's 8,449-byte room and,
// for interpretation, at its first NUL; the editor copies lines verbatim.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"

namespace kx::config {

// Bytes a reader line may hold: the line buffer is 8,450 bytes, one of which
// is the terminator. A longer line is read as several lines.
inline constexpr size_t kIniLineBytes = 8449;

// One reader line: `raw` is its exact bytes (with the line feed, when it has
// one); `text` is what the grammar sees: the bytes before the first NUL and
// without the line feed (a carriage return stays).
struct IniLine {
  std::string_view raw;
  std::string_view text;
};

class IniText {
 public:
  explicit IniText(std::string_view bytes) : bytes_(bytes) {}
  // The next line, false at the end of the bytes.
  bool Next(IniLine *line);
  // Offset of the next line in the bytes.
  size_t offset() const { return at_; }

 private:
  std::string_view bytes_;
  size_t at_ = 0;
};

enum class HeaderForm { kNone, kHeader, kMalformed };

// A section header: optional spaces and tabs, '[', the name up to the first
// ']' (untrimmed), anything after. kMalformed when ']' is missing.
HeaderForm ParseHeader(std::string_view text, std::string_view *name);
// A key line: leading spaces and tabs skipped, the key up to the first '='
// (untrimmed), the value after it. False without '='.
bool ParseKeyLine(std::string_view text, std::string_view *key, std::string_view *value);
// Readers skip lines whose first byte is ';' or '#'.
bool IsReaderComment(std::string_view text);
// The writer holds back lines whose first byte that is not a space, tab, CR
// or LF is ';' or '#', and lines of such blanks only.
bool IsWriterCommentOrBlank(std::string_view text);

// The value of the first matching key in the first matching section.
// Statuses: 261 malformed header before the section; 262 section absent; 263
// key absent in it.
Status FindIniValue(std::string_view bytes, std::string_view section, std::string_view key,
                    std::string_view *value);
// Every section name in file order. 261 for a malformed header; 262 when
// there is none.
Status ListIniSections(std::string_view bytes, std::vector<std::string_view> *names);
// The keys of the first matching section. 261, 262 as above; 263 when the
// section has no key.
Status ListIniKeys(std::string_view bytes, std::string_view section,
                   std::vector<std::string_view> *keys);

// The text of a write. `existed` tells whether the file exists (`bytes` is
// its content). A null key deletes the section (from its header up to the
// next line starting with '[' or '#' in column 0); a null value deletes the
// key; otherwise the key is replaced in place, or added after the section's
// last key (before the comment and blank lines that precede the next header;
// at the end of the file, before the trailing ones). A missing section, or
// file, is appended as "[section]\nkey=value\n" after a "\n" when the file is
// not empty. Statuses: 261 for a malformed header before the section; 264
// when there is nothing to append (a deletion in a missing section).
Status EditIni(std::string_view bytes, bool existed, const char *section, const char *key,
               const char *value, std::string *out);

}  // namespace kx::config
