// PropertyText: the one validated view through which property-file bytes are
// read, and the pure grammar routines on top of it: finding a value, listing
// the keys, and computing the edited text of a write. The bytes may be
// damaged or hostile: lines are cut as the reader's 8,450-byte line buffer
// cuts them and, for interpretation, at their first NUL; the editor copies
// everything it keeps byte for byte.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "config/ini_text.h"

namespace kx::config {

// One key entry: a key line and the continuation lines its value runs over.
struct PropertyEntry {
  std::string_view key;  // up to the first blank, ':' or '=' of the line
  std::string value;     // trailing blanks removed; each continuing '\' is a line feed
  size_t begin = 0;      // offset of the key line in the bytes
  size_t end = 0;        // offset after the entry's last line
};

// The key entries of a property file in order. Blanks are tab, line feed,
// carriage return and space; a line is skipped when, after its leading
// blanks, it has fewer than 2 bytes or starts with ';', '#', '!' or "//".
// The separator is the run of blanks, ':' and '=' after the key. A value
// ending in one backslash (not two) continues on the next line, which is
// taken as it is, with only its trailing blanks removed.
class PropertyText {
 public:
  explicit PropertyText(std::string_view bytes) : lines_(bytes) {}
  // The next entry, false at the end of the bytes.
  bool Next(PropertyEntry *entry);

 private:
  IniText lines_;  // the same fixed line buffer as the INI reader
};

// A line's key answers a requested key that begins with it: only the line
// key's length is compared (so "port" answers "portal", and an empty key
// answers every key).
bool PropertyKeyMatches(std::string_view line_key, std::string_view key);

// The value of the first entry whose key matches. 263 when none does.
Status FindPropertyValue(std::string_view bytes, std::string_view key, std::string *value);
// Every entry's key in file order. 263 when there is none.
Status ListPropertyKeys(std::string_view bytes, std::vector<std::string_view> *keys);

// The text of a write: the bytes before the first matching entry, then
// "key=value\n", then every byte after the entry's continuation lines. When
// no entry matches the result is empty: writing a key that the file does not
// hold leaves an empty file.
void EditProperty(std::string_view bytes, std::string_view key, std::string_view value,
                  std::string *out);

}  // namespace kx::config
