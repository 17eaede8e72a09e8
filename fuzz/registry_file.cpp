// Fuzz target for the product registry's grammar over arbitrary file
// contents, checked against a plain line-by-line reading of the same rules.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "config/registry_text.h"

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

bool Blank(char c) {
  return c == ' ' || c == '\t';
}

// The rules, read one reader line (at most 8,450 bytes, up to a line feed)
// at a time into a C string.
std::optional<std::string> Reference(std::string_view file, const std::string &key) {
  for (size_t at = 0; at < file.size();) {
    std::string line;
    while (at < file.size() && line.size() < kx::config::kRegistryLineBytes) {
      line.push_back(file[at++]);
      if (line.back() == '\n') break;
    }
    line = line.c_str();
    size_t start = line.find_first_not_of(" \t");
    if (start == std::string::npos || line[start] == ';' || line[start] == '#') continue;
    size_t equals = line.find('=', start);
    if (equals == std::string::npos || line.substr(start, equals - start) != key) continue;
    std::string value = line.substr(equals + 1);
    value.erase(0, value.find_first_not_of(" \t") == std::string::npos
                       ? value.size()
                       : value.find_first_not_of(" \t"));
    if (!value.empty() && value.back() == '\n') value.pop_back();
    while (!value.empty() && Blank(value.back())) value.pop_back();
    return value;
  }
  return std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  // The first byte's low bits choose the key: one of the real forms, or the
  // first line's own key (so that arbitrary keys get matched too).
  const std::string_view file(reinterpret_cast<const char *>(data + 1), size - 1);
  static const char *const kKeys[] = {"Wexbridge.inipath", "tesk.installpath", "mernex.vardatapath",
                                      ""};
  std::string key = kKeys[data[0] % 4];
  if (key.empty()) {
    std::string_view first = file.substr(0, file.find('='));
    size_t start = first.find_first_not_of(" \t");
    key = start == std::string_view::npos ? "" : std::string(first.substr(start));
  }
  std::optional<std::string_view> found = kx::config::RegistryText(file).Find(key);
  std::optional<std::string> expected = Reference(file, key);
  Check(found.has_value() == expected.has_value());
  if (found) {
    Check(std::string(*found) == *expected);
    Check(found->find('\n') == std::string_view::npos &&
          found->find('\0') == std::string_view::npos);
  }
  return 0;
}
