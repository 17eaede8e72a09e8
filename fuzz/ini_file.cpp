// Fuzz target for the INI reader and writer over arbitrary file contents.
// The first byte picks a section and key from a small set and an operation;
// the rest is the file. Lists must name only what the file holds; a write
// that succeeds must be read back (for names the grammar can hold), a removal
// must shorten the file exactly when the key was there, and text outside the edited section must
// survive.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "config/ini_text.h"

namespace {

using kx::Status;
namespace config = kx::config;

void Check(bool condition) {
  if (!condition) std::abort();
}

// Names that a file of this grammar can always hold: no blanks in front, no
// comment marker, bracket, '=' or line break.
constexpr const char *kSections[] = {"s", "a b", "Sec"};
constexpr const char *kKeys[] = {"k", "key 2", "K"};

bool Within(std::string_view part, std::string_view whole) {
  return part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  const char *section = kSections[data[0] % 3];
  const char *key = kKeys[(data[0] / 3) % 3];
  const int operation = (data[0] / 9) % 4;
  const std::string_view file(reinterpret_cast<const char *>(data + 1), size - 1);

  std::vector<std::string_view> names;
  Status listed = config::ListIniSections(file, &names);
  Check(listed == Status::kSuccess || listed == Status::kReadFailed ||
        listed == Status::kEndOfFile);
  for (std::string_view name : names) Check(Within(name, file));
  names.clear();
  listed = config::ListIniKeys(file, section, &names);
  for (std::string_view name : names) Check(Within(name, file) && name.find('=') == name.npos);

  std::string_view before;
  const Status found = config::FindIniValue(file, section, key, &before);
  Check(found != Status::kSuccess || (Within(before, file) && before.find('\n') == before.npos));

  std::string out;
  const char *value = operation == 0 ? "new value" : nullptr;
  const char *edit_key = operation == 2 ? nullptr : key;
  const Status edited = config::EditIni(file, true, section, edit_key, value, &out);
  Check(edited == Status::kSuccess || edited == Status::kReadFailed || edited == Status::kBadValue);
  if (edited != Status::kSuccess) return 0;
  std::string_view after;
  const Status refound = config::FindIniValue(out, section, key, &after);
  if (operation == 0) {
    Check(refound == Status::kSuccess && after == "new value");
  } else if (operation != 2) {
    // A removal takes the key's first line out, or changes nothing.
    Check(found == Status::kSuccess ? out.size() < file.size() : out == file);
  }
  // Whatever precedes the section's header is copied unchanged.
  if (found != Status::kReadFailed && found != Status::kEndOfFile) {
    config::IniText text(file);
    config::IniLine line;
    size_t header_end = 0;
    while (text.Next(&line)) {
      std::string_view name;
      if (config::ParseHeader(line.text, &name) == config::HeaderForm::kHeader && name == section) {
        header_end = text.offset() - line.raw.size();
        break;
      }
    }
    Check(out.compare(0, header_end, file.substr(0, header_end)) == 0);
  }
  return 0;
}
