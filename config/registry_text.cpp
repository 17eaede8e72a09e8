// The product registry's line grammar over a validated view of its bytes.
#include "config/registry_text.h"

namespace kx::config {

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

}  // namespace

std::optional<std::string_view> RegistryText::Find(std::string_view key) const {
  size_t at = 0;
  while (at < bytes_.size()) {
    // One reader line: up to and including a line feed, at most the buffer's
    // room; what is left of a longer line is read as the next line.
    size_t room = std::min(kRegistryLineBytes, bytes_.size() - at);
    std::string_view chunk = bytes_.substr(at, room);
    if (size_t lf = chunk.find('\n'); lf != std::string_view::npos) chunk = chunk.substr(0, lf + 1);
    at += chunk.size();
    // The reader sees the line as a C string: a NUL ends it.
    if (size_t nul = chunk.find('\0'); nul != std::string_view::npos) chunk = chunk.substr(0, nul);

    size_t start = 0;
    while (start < chunk.size() && IsBlank(chunk[start])) ++start;
    if (start == chunk.size() || chunk[start] == ';' || chunk[start] == '#') continue;
    size_t equals = chunk.find('=', start);
    if (equals == std::string_view::npos) continue;
    if (chunk.substr(start, equals - start) != key) continue;

    std::string_view value = chunk.substr(equals + 1);
    size_t first = 0;
    while (first < value.size() && IsBlank(value[first])) ++first;
    value.remove_prefix(first);
    if (!value.empty() && value.back() == '\n') value.remove_suffix(1);
    while (!value.empty() && IsBlank(value.back())) value.remove_suffix(1);
    return value;
  }
  return std::nullopt;
}

}  // namespace kx::config
