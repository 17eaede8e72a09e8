// Event-log readers for the tool: records found by their first line (text) or
// element (XML), each decoded whole or skipped as damaged.
#include "log_reader.h"

#include <cstring>
#include <string_view>

namespace kxtool {

namespace {

constexpr size_t kTextHeaderSize = 256;
constexpr char kHeaderText[] =
    "#-------------------------------\r\n# Do not remove this block\r\n"
    "# This data file is parsed\r\n#------------------------------- \r\n\r\n";

void AppendUtf8(uint32_t code_point, std::string *out) {
  if (code_point < 0x80) {
    out->push_back(static_cast<char>(code_point));
  } else if (code_point < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (code_point >> 6)));
    out->push_back(static_cast<char>(0x80 | (code_point & 0x3F)));
  } else if (code_point < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (code_point >> 12)));
    out->push_back(static_cast<char>(0x80 | ((code_point >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (code_point & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (code_point >> 18)));
    out->push_back(static_cast<char>(0x80 | ((code_point >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((code_point >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (code_point & 0x3F)));
  }
}

// UTF-16 units as UTF-8; a unit that pairs with nothing becomes U+FFFD.
std::string Utf8Of(std::u16string_view units) {
  std::string out;
  for (size_t i = 0; i < units.size(); ++i) {
    uint32_t unit = units[i];
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < units.size() && units[i + 1] >= 0xDC00 &&
        units[i + 1] <= 0xDFFF) {
      unit = 0x10000 + ((unit - 0xD800) << 10) + (units[i + 1] - 0xDC00);
      ++i;
    } else if (unit >= 0xD800 && unit <= 0xDFFF) {
      unit = 0xFFFD;
    }
    AppendUtf8(unit, &out);
  }
  return out;
}

// Takes "<label>value\r\n" at *at; false when the line is not there.
bool TakeLine(std::u16string_view text, size_t *at, std::u16string_view label,
              std::u16string_view *value) {
  if (text.substr(*at, label.size()) != label) return false;
  const size_t end = text.find(u"\r\n", *at + label.size());
  if (end == std::u16string_view::npos) return false;
  *value = text.substr(*at + label.size(), end - *at - label.size());
  *at = end + 2;
  return true;
}

int HexDigit(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

// One dump line "0x%08X: " + up to 16 "XX " cells; the character column is
// not needed to recover the bytes and is not checked.
bool TakeDumpLine(std::u16string_view line, size_t offset, std::vector<uint8_t> *data) {
  if (line.size() < 12 || line.substr(0, 2) != u"0x" || line.substr(10, 2) != u": ") return false;
  size_t written = 0;
  for (size_t i = 2; i < 10; ++i) {
    const int digit = HexDigit(line[i]);
    if (digit < 0) return false;
    written = written * 16 + static_cast<size_t>(digit);
  }
  if (written != offset) return false;
  size_t count = 0;
  for (size_t at = 12; count < 16 && at + 3 <= line.size(); at += 3, ++count) {
    const int high = HexDigit(line[at]), low = HexDigit(line[at + 1]);
    if (high < 0 || low < 0 || line[at + 2] != u' ') break;
    data->push_back(static_cast<uint8_t>(high * 16 + low));
  }
  return count > 0;
}

// Decodes the record at the start of `body` and returns the units it spans,
// or 0 when it is not a whole record. The dump's lines are taken while they
// parse; what follows them must be the start of another record (or, when a
// writer was cut short, a piece of that start) rather than more dump.
size_t DecodeTextRecord(std::u16string_view body, LogRecord *record) {
  size_t at = 0;
  std::u16string_view id, source, category, type, time, computer;
  if (!TakeLine(body, &at, u"EventID: ", &id) || !TakeLine(body, &at, u"Source: ", &source) ||
      !TakeLine(body, &at, u"Category: ", &category) || !TakeLine(body, &at, u"Type: ", &type) ||
      !TakeLine(body, &at, u"Date and Time: ", &time) ||
      !TakeLine(body, &at, u"Computer: ", &computer) ||
      body.substr(at, 14) != u"Description:\r\n") {
    return 0;
  }
  if (id.empty() || id.size() > 10) return 0;
  for (char16_t c : id) {
    if (c < u'0' || c > u'9') return 0;
  }
  at += 14;
  const size_t data_label = body.find(u"\r\nData: Bytes in Hex\r\n", at);
  if (data_label == std::u16string_view::npos) return 0;
  const std::u16string_view description = body.substr(at, data_label - at);
  at = data_label + 22;
  if (body.substr(at, 2) == u"\r\n") {
    at += 2;  // no data: the record's own line end
  } else {
    for (size_t offset = 0;; offset += 16) {
      const size_t end = body.find(u"\r\n", at);
      if (end == std::u16string_view::npos ||
          !TakeDumpLine(body.substr(at, end - at), offset, &record->data)) {
        if (offset == 0) return 0;
        break;
      }
      at = end + 2;
    }
  }
  if (body.substr(at, 2) == u"0x") return 0;  // a dump line cut short: the record is not whole
  record->event_id = Utf8Of(id);
  record->source = Utf8Of(source);
  record->category = Utf8Of(category);
  record->type = Utf8Of(type);
  record->time = Utf8Of(time);
  record->computer = Utf8Of(computer);
  record->description = Utf8Of(description);
  return at;
}

std::string Unescape(std::string_view text) {
  static constexpr struct {
    std::string_view entity;
    char c;
  } kEntities[] = {{"&lt;", '<'}, {"&gt;", '>'}, {"&amp;", '&'}, {"&quot;", '"'}, {"&apos;", '\''}};
  std::string out;
  for (size_t i = 0; i < text.size();) {
    bool replaced = false;
    if (text[i] == '&') {
      for (const auto &entity : kEntities) {
        if (text.substr(i, entity.entity.size()) == entity.entity) {
          out.push_back(entity.c);
          i += entity.entity.size();
          replaced = true;
          break;
        }
      }
    }
    if (!replaced) out.push_back(text[i++]);
  }
  return out;
}

// "0x41,0x42," back to bytes; false for anything else.
bool ByteList(std::string_view text, std::vector<uint8_t> *data) {
  while (!text.empty()) {
    if (text.size() < 5 || text.substr(0, 2) != "0x" || text[4] != ',') return false;
    const int high = HexDigit(static_cast<char16_t>(text[2]));
    const int low = HexDigit(static_cast<char16_t>(text[3]));
    if (high < 0 || low < 0) return false;
    data->push_back(static_cast<uint8_t>(high * 16 + low));
    text.remove_prefix(5);
  }
  return true;
}

// The children of one LogEntry, "<Name>text</Name>" each, in any order.
bool DecodeXmlEntry(std::string_view body, LogRecord *record) {
  while (!body.empty()) {
    if (body[0] != '<') return false;
    const size_t close = body.find('>');
    if (close == std::string_view::npos || close < 2) return false;
    const std::string_view name = body.substr(1, close - 1);
    const std::string end_tag = "</" + std::string(name) + ">";
    const size_t end = body.find(end_tag, close + 1);
    if (end == std::string_view::npos) return false;
    const std::string_view raw = body.substr(close + 1, end - close - 1);
    if (raw.find('<') != std::string_view::npos) return false;
    const std::string value = Unescape(raw);
    if (name == "TimeStamp")
      record->timestamp = value;
    else if (name == "DateTime")
      record->time = value;
    else if (name == "ComputerName")
      record->computer = value;
    else if (name == "Type")
      record->type = value;
    else if (name == "ID")
      record->event_id = value;
    else if (name == "Link")
      record->link = value;
    else if (name == "UserInfo")
      record->user_info = value;
    else if (name == "Source")
      record->source = value;
    else if (name == "Category")
      record->category = value;
    else if (name == "Description")
      record->description = value;
    else if (name == "Data" && !ByteList(value, &record->data))
      return false;
    body.remove_prefix(end + end_tag.size());
  }
  return true;
}

}  // namespace

bool LooksLikeTextLog(const std::vector<unsigned char> &bytes) {
  return bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE;
}

LogReading ReadTextLog(const std::vector<unsigned char> &bytes) {
  LogReading reading;
  std::u16string expected;
  reading.header_ok = bytes.size() >= kTextHeaderSize && bytes[0] == 0xFF && bytes[1] == 0xFE;
  for (size_t i = 0; reading.header_ok && i < sizeof kHeaderText - 1; ++i) {
    reading.header_ok =
        bytes[2 + 2 * i] == static_cast<unsigned char>(kHeaderText[i]) && bytes[3 + 2 * i] == 0;
  }
  std::u16string text;
  const size_t start = bytes.size() >= kTextHeaderSize ? kTextHeaderSize : 0;
  for (size_t i = start; i + 1 < bytes.size(); i += 2) {
    text.push_back(static_cast<char16_t>(bytes[i] | (bytes[i + 1] << 8)));
  }
  std::vector<size_t> starts;
  for (size_t at = text.find(u"EventID: "); at != std::u16string::npos;
       at = text.find(u"EventID: ", at + 1)) {
    starts.push_back(at);
  }
  if (starts.empty() ? !text.empty() : starts.front() != 0) ++reading.damaged;
  const std::u16string_view view(text);
  for (size_t i = 0; i < starts.size(); ++i) {
    const size_t end = i + 1 < starts.size() ? starts[i + 1] : text.size();
    LogRecord record;
    const size_t used = DecodeTextRecord(view.substr(starts[i], end - starts[i]), &record);
    if (used == 0) {
      ++reading.damaged;
      continue;
    }
    reading.records.push_back(std::move(record));
    // Left over before the next record: the cut start of a record.
    if (starts[i] + used != end) ++reading.damaged;
  }
  return reading;
}

LogReading ReadXmlLog(const std::vector<unsigned char> &bytes) {
  LogReading reading;
  const std::string_view text(reinterpret_cast<const char *>(bytes.data()), bytes.size());
  constexpr std::string_view kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><EventLog>";
  constexpr std::string_view kClose = "</EventLog>";
  reading.header_ok = text.substr(0, kHead.size()) == kHead;
  reading.closed =
      text.size() >= kClose.size() && text.substr(text.size() - kClose.size()) == kClose;
  constexpr std::string_view kOpen = "<LogEntry>", kEnd = "</LogEntry>";
  size_t at = text.find(kOpen);
  if (at == std::string_view::npos ? text.size() > kHead.size() + kClose.size()
                                   : at != kHead.size()) {
    ++reading.damaged;
  }
  while (at != std::string_view::npos) {
    const size_t next = text.find(kOpen, at + kOpen.size());
    const size_t end = text.find(kEnd, at + kOpen.size());
    LogRecord record;
    if (end != std::string_view::npos && (next == std::string_view::npos || end < next) &&
        DecodeXmlEntry(text.substr(at + kOpen.size(), end - at - kOpen.size()), &record)) {
      reading.records.push_back(std::move(record));
    } else {
      ++reading.damaged;
    }
    at = next;
  }
  return reading;
}

}  // namespace kxtool
