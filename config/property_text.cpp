// The property-file grammar over a validated view of the file's bytes: key
// lines with their separators and comment forms, backslash continuation, the
// prefix comparison of keys, and the writer's copy around the matching entry.
#include "config/property_text.h"

namespace kx::config {

namespace {

bool IsBlank(char c) {
  return c == '\t' || c == '\n' || c == '\r' || c == ' ';
}

bool IsSeparator(char c) {
  return IsBlank(c) || c == ':' || c == '=';
}

std::string_view TrimTrailingBlanks(std::string_view text) {
  size_t end = text.size();
  while (end > 0 && IsBlank(text[end - 1])) --end;
  return text.substr(0, end);
}

// One backslash at the end continues the value; two are a literal pair.
bool Continues(std::string_view value) {
  const size_t n = value.size();
  return n >= 1 && value[n - 1] == '\\' && (n == 1 || value[n - 2] != '\\');
}

// The key and value of a line's text; false for a comment, blank or short
// line.
bool ParsePropertyLine(std::string_view text, std::string_view *key, std::string_view *value) {
  size_t first = 0;
  while (first < text.size() && IsBlank(text[first])) ++first;
  const std::string_view rest = text.substr(first);
  if (rest.size() < 2) return false;
  if (rest[0] == ';' || rest[0] == '#' || rest[0] == '!' || rest.substr(0, 2) == "//") {
    return false;
  }
  size_t key_end = 0;
  while (key_end < rest.size() && !IsSeparator(rest[key_end])) ++key_end;
  size_t value_start = key_end;
  while (value_start < rest.size() && IsSeparator(rest[value_start])) ++value_start;
  *key = rest.substr(0, key_end);
  *value = TrimTrailingBlanks(rest.substr(value_start));
  return true;
}

}  // namespace

bool PropertyText::Next(PropertyEntry *entry) {
  for (;;) {
    const size_t begin = lines_.offset();
    IniLine line;
    if (!lines_.Next(&line)) return false;
    std::string_view key, value;
    if (!ParsePropertyLine(line.text, &key, &value)) continue;
    entry->key = key;
    entry->value.assign(value);
    entry->begin = begin;
    while (Continues(entry->value)) {
      entry->value.back() = '\n';
      if (!lines_.Next(&line)) break;
      entry->value.append(TrimTrailingBlanks(line.text));
    }
    entry->end = lines_.offset();
    return true;
  }
}

bool PropertyKeyMatches(std::string_view line_key, std::string_view key) {
  return key.substr(0, line_key.size()) == line_key;
}

Status FindPropertyValue(std::string_view bytes, std::string_view key, std::string *value) {
  PropertyText text(bytes);
  PropertyEntry entry;
  while (text.Next(&entry)) {
    if (PropertyKeyMatches(entry.key, key)) {
      *value = std::move(entry.value);
      return Status::kSuccess;
    }
  }
  return Status::kEntryNotFound;
}

Status ListPropertyKeys(std::string_view bytes, std::vector<std::string_view> *keys) {
  PropertyText text(bytes);
  PropertyEntry entry;
  while (text.Next(&entry)) keys->push_back(entry.key);
  return keys->empty() ? Status::kEntryNotFound : Status::kSuccess;
}

void EditProperty(std::string_view bytes, std::string_view key, std::string_view value,
                  std::string *out) {
  out->clear();
  PropertyText text(bytes);
  PropertyEntry entry;
  while (text.Next(&entry)) {
    if (!PropertyKeyMatches(entry.key, key)) continue;
    out->reserve(bytes.size() + key.size() + value.size() + 2);
    out->append(bytes.substr(0, entry.begin));
    out->append(key);
    out->push_back('=');
    out->append(value);
    out->push_back('\n');
    out->append(bytes.substr(entry.end));
    return;
  }
}

}  // namespace kx::config
