// The INI grammar over a validated view of the file's bytes: line splitting
// as the reader's fixed line buffer does it, the line forms, the read queries
// and the writer's edit with its held-back comment block.
#include "config/ini_text.h"

namespace kx::config {

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

std::string_view SkipBlanks(std::string_view text) {
  size_t first = 0;
  while (first < text.size() && IsBlank(text[first])) ++first;
  return text.substr(first);
}

// Positions the view after the header of `section`. 261 for a malformed
// header on the way, 262 at the end.
Status SeekSection(IniText *text, std::string_view section) {
  IniLine line;
  while (text->Next(&line)) {
    std::string_view name;
    switch (ParseHeader(line.text, &name)) {
      case HeaderForm::kMalformed:
        return Status::kReadFailed;
      case HeaderForm::kHeader:
        if (name == section) return Status::kSuccess;
        break;
      case HeaderForm::kNone:
        break;
    }
  }
  return Status::kEndOfFile;
}

// Calls `visit(key, value)` for every key line of the section the view is
// in, up to the next line starting (after blanks) with '['. Stops early when
// `visit` returns true; returns whether it did.
template <typename Visit>
bool VisitSectionKeys(IniText *text, Visit visit) {
  IniLine line;
  while (text->Next(&line)) {
    if (IsReaderComment(line.text)) continue;
    std::string_view rest = SkipBlanks(line.text);
    if (!rest.empty() && rest.front() == '[') return false;
    std::string_view key, value;
    if (!ParseKeyLine(rest, &key, &value)) continue;
    if (visit(key, value)) return true;
  }
  return false;
}

// The new key line always starts a line of its own, also after a last line
// that has no line feed.
void AppendKeyLine(std::string *out, const char *key, const char *value) {
  if (!out->empty() && out->back() != '\n') out->push_back('\n');
  out->append(key);
  out->push_back('=');
  out->append(value);
  out->push_back('\n');
}

}  // namespace

bool IniText::Next(IniLine *line) {
  if (at_ >= bytes_.size()) return false;
  std::string_view raw = bytes_.substr(at_, std::min(kIniLineBytes, bytes_.size() - at_));
  if (size_t lf = raw.find('\n'); lf != std::string_view::npos) raw = raw.substr(0, lf + 1);
  at_ += raw.size();
  std::string_view text = raw;
  if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
  if (size_t nul = text.find('\0'); nul != std::string_view::npos) text = text.substr(0, nul);
  *line = IniLine{raw, text};
  return true;
}

HeaderForm ParseHeader(std::string_view text, std::string_view *name) {
  std::string_view rest = SkipBlanks(text);
  if (rest.empty() || rest.front() != '[') return HeaderForm::kNone;
  size_t close = rest.find(']');
  if (close == std::string_view::npos) return HeaderForm::kMalformed;
  *name = rest.substr(1, close - 1);
  return HeaderForm::kHeader;
}

bool ParseKeyLine(std::string_view text, std::string_view *key, std::string_view *value) {
  std::string_view rest = SkipBlanks(text);
  size_t equals = rest.find('=');
  if (equals == std::string_view::npos) return false;
  *key = rest.substr(0, equals);
  *value = rest.substr(equals + 1);
  return true;
}

bool IsReaderComment(std::string_view text) {
  return !text.empty() && (text.front() == ';' || text.front() == '#');
}

bool IsWriterCommentOrBlank(std::string_view text) {
  for (char c : text) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') continue;
    return c == ';' || c == '#';
  }
  return true;
}

Status FindIniValue(std::string_view bytes, std::string_view section, std::string_view key,
                    std::string_view *value) {
  IniText text(bytes);
  if (Status status = SeekSection(&text, section); !Ok(status)) return status;
  bool found = VisitSectionKeys(&text, [&](std::string_view k, std::string_view v) {
    if (k != key) return false;
    *value = v;
    return true;
  });
  return found ? Status::kSuccess : Status::kEntryNotFound;
}

Status ListIniSections(std::string_view bytes, std::vector<std::string_view> *names) {
  IniText text(bytes);
  IniLine line;
  while (text.Next(&line)) {
    std::string_view name;
    HeaderForm form = ParseHeader(line.text, &name);
    if (form == HeaderForm::kMalformed) return Status::kReadFailed;
    if (form == HeaderForm::kHeader) names->push_back(name);
  }
  return names->empty() ? Status::kEndOfFile : Status::kSuccess;
}

Status ListIniKeys(std::string_view bytes, std::string_view section,
                   std::vector<std::string_view> *keys) {
  IniText text(bytes);
  if (Status status = SeekSection(&text, section); !Ok(status)) return status;
  VisitSectionKeys(&text, [&](std::string_view key, std::string_view) {
    keys->push_back(key);
    return false;
  });
  return keys->empty() ? Status::kEntryNotFound : Status::kSuccess;
}

Status EditIni(std::string_view bytes, bool existed, const char *section, const char *key,
               const char *value, std::string *out) {
  out->clear();
  IniText text(bytes);
  IniLine line;
  // Copy up to the section's header; the header itself goes unless the whole
  // section is being removed.
  bool found = false;
  while (!found && text.Next(&line)) {
    std::string_view name;
    HeaderForm form = ParseHeader(line.text, &name);
    found = form == HeaderForm::kHeader && name == section;
    if (!found || key != nullptr) out->append(line.raw);
    if (form == HeaderForm::kMalformed) return Status::kReadFailed;
  }

  if (!found) {
    // Section (or file) absent: append it with the key.
    if (key == nullptr || value == nullptr) return Status::kBadValue;
    *out = bytes;
    if (existed && !bytes.empty()) out->push_back('\n');
    out->append("[").append(section).append("]\n");
    AppendKeyLine(out, key, value);
    return Status::kSuccess;
  }

  if (key == nullptr) {
    // Removal runs up to a line that begins with '[' or '#' in column 0.
    while (text.Next(&line)) {
      if (line.raw.front() == '[' || line.raw.front() == '#') {
        out->append(bytes.substr(text.offset() - line.raw.size()));
        break;
      }
    }
    return Status::kSuccess;
  }

  // Inside the section: comment and blank lines are held back until a key
  // line shows they lie inside the section rather than before the next one.
  constexpr size_t kNothingHeld = std::string_view::npos;
  size_t held = kNothingHeld;
  for (;;) {
    const size_t start = text.offset();
    if (!text.Next(&line)) {
      // End of file: the key goes after the section's last key, and the
      // trailing comments follow it, so nothing is lost.
      if (value != nullptr) AppendKeyLine(out, key, value);
      if (held != kNothingHeld) out->append(bytes.substr(held));
      return Status::kSuccess;
    }
    if (IsWriterCommentOrBlank(line.text)) {
      if (held == kNothingHeld) held = start;
      continue;
    }
    std::string_view name;
    if (ParseHeader(line.text, &name) != HeaderForm::kNone) {
      // The next section: rewind to the held-back block, which belongs to it.
      if (value != nullptr) AppendKeyLine(out, key, value);
      out->append(bytes.substr(held != kNothingHeld ? held : start));
      return Status::kSuccess;
    }
    if (held != kNothingHeld) {
      out->append(bytes.substr(held, start - held));
      held = kNothingHeld;
    }
    std::string_view line_key, line_value;
    if (ParseKeyLine(line.text, &line_key, &line_value) && line_key == key) {
      if (value != nullptr) AppendKeyLine(out, key, value);
      out->append(bytes.substr(text.offset()));
      return Status::kSuccess;
    }
    out->append(line.raw);
  }
}

}  // namespace kx::config
