// RegistryText: the one validated view through which the product registry's
// bytes are read. The file may be damaged or hostile; every line is cut to the
// reader's 8,450-byte line buffer and at its first NUL before anyone looks at
// it, so the lookup never reads past what the file holds.
#pragma once

#include <optional>
#include <string_view>

namespace kx::config {

// Bytes a registry line may hold before the reader splits it: the line buffer
// is 8,451 bytes, one of which is the terminator.
inline constexpr size_t kRegistryLineBytes = 8450;

class RegistryText {
 public:
  explicit RegistryText(std::string_view bytes) : bytes_(bytes) {}

  // The value of the first line whose key is exactly `key`, or nothing.
  // Grammar: leading spaces and tabs skipped; ';' or '#' then starts a
  // comment; a line without '=' is ignored; the key runs from the first
  // non-blank byte to the first '=' (not trimmed, case-sensitive); the value
  // starts after '=' and its leading blanks, loses its line feed and its
  // trailing spaces and tabs (a carriage return stays).
  std::optional<std::string_view> Find(std::string_view key) const;

 private:
  std::string_view bytes_;
};

}  // namespace kx::config
