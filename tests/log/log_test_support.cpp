// The log tests' sandbox, decoders and helpers.
#include "log_test_support.h"

#include <iconv.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace logtest {

namespace {

constexpr size_t kHeaderSize = 256;

bool StartsWith(const std::u16string &text, size_t at, const std::u16string &prefix) {
  return text.compare(at, prefix.size(), prefix) == 0;
}

// Reads "<label>" up to CR LF at `at`; returns the rest of the line.
bool TakeLine(const std::u16string &text, size_t *at, const std::u16string &label,
              std::u16string *value) {
  if (!StartsWith(text, *at, label)) return false;
  const size_t end = text.find(u"\r\n", *at + label.size());
  if (end == std::u16string::npos) return false;
  *value = text.substr(*at + label.size(), end - *at - label.size());
  *at = end + 2;
  return true;
}

int HexValue(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

// One dump line: "0x%08X: ", 16 "XX " or "   " slots, two blanks, then the
// characters. Appends the bytes; false when the line is not of that form.
bool DecodeDumpLine(const std::u16string &line, size_t offset, std::vector<uint8_t> *data) {
  char head[32];
  std::snprintf(head, sizeof head, "0x%08zX: ", offset);
  if (line.size() < 62 || ToUtf8(line.substr(0, 12)) != head) return false;
  size_t count = 0;
  for (size_t slot = 0; slot < 16; ++slot) {
    const std::u16string cell = line.substr(12 + 3 * slot, 3);
    if (cell == u"   ") break;
    const int high = HexValue(cell[0]), low = HexValue(cell[1]);
    if (high < 0 || low < 0 || cell[2] != u' ') return false;
    data->push_back(static_cast<uint8_t>(high * 16 + low));
    ++count;
  }
  for (size_t i = 12 + 3 * count; i < 62; ++i) {
    if (line[i] != u' ') return false;
  }
  if (line.size() != 62 + count) return false;
  for (size_t i = 0; i < count; ++i) {
    const uint8_t byte = (*data)[data->size() - count + i];
    const char16_t shown = byte >= 0x20 && byte < 0x7F ? byte : u'.';
    if (line[62 + i] != shown) return false;
  }
  return count > 0;
}

// Decodes the record that starts at `start` and ends right before `end`.
bool DecodeRecord(const std::u16string &text, size_t start, size_t end, TextRecord *record) {
  const std::u16string body = text.substr(start, end - start);
  size_t at = 0;
  std::u16string id, source, category, label, date, computer;
  if (!TakeLine(body, &at, u"EventID: ", &id) || !TakeLine(body, &at, u"Source: ", &source) ||
      !TakeLine(body, &at, u"Category: ", &category) || !TakeLine(body, &at, u"Type: ", &label) ||
      !TakeLine(body, &at, u"Date and Time: ", &date) ||
      !TakeLine(body, &at, u"Computer: ", &computer) ||
      !StartsWith(body, at, u"Description:\r\n")) {
    return false;
  }
  at += 14;
  const size_t data_label = body.find(u"\r\nData: Bytes in Hex\r\n", at);
  if (data_label == std::u16string::npos) return false;
  record->description = ToUtf8(body.substr(at, data_label - at));
  at = data_label + 22;
  // The dump, then the record's closing CR LF.
  if (body.size() < at + 2 || body.compare(body.size() - 2, 2, u"\r\n") != 0) return false;
  const std::u16string dump = body.substr(at, body.size() - 2 - at);
  size_t line_start = 0, offset = 0;
  while (line_start < dump.size()) {
    size_t line_end = dump.find(u"\r\n", line_start);
    if (line_end == std::u16string::npos) line_end = dump.size();
    if (!DecodeDumpLine(dump.substr(line_start, line_end - line_start), offset, &record->data)) {
      return false;
    }
    offset += 16;
    line_start = line_end + 2;
    if (line_end == dump.size()) break;
  }
  for (char16_t c : id) {
    if (c < u'0' || c > u'9') return false;
  }
  if (id.empty() || id.size() > 10) return false;
  record->event_id = static_cast<uint32_t>(std::stoull(ToUtf8(id)));
  record->source = ToUtf8(source);
  record->category = ToUtf8(category);
  record->type_label = "Type: " + ToUtf8(label);
  record->date = ToUtf8(date);
  record->computer = ToUtf8(computer);
  return true;
}

// UTF-16LE bytes to code units.
std::u16string Units(const std::string &bytes) {
  std::u16string text;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    text.push_back(static_cast<char16_t>(static_cast<uint8_t>(bytes[i]) |
                                         (static_cast<uint8_t>(bytes[i + 1]) << 8)));
  }
  return text;
}

// The C library's converter between `from` and `to`.
std::string Convert(const char *to, const char *from, const std::string &bytes) {
  iconv_t converter = iconv_open(to, from);
  std::string out(bytes.size() * 2 + 4, '\0');
  char *in = const_cast<char *>(bytes.data()), *at = out.data();
  size_t in_left = bytes.size(), out_left = out.size();
  iconv(converter, &in, &in_left, &at, &out_left);
  iconv_close(converter);
  out.resize(out.size() - out_left);
  return out;
}

}  // namespace

LogSandbox::LogSandbox() {
  // The registry names the log directory, which must exist for the lookup.
  sandbox_.WriteRegistry("mernex.vardatapath=" + sandbox_.DataDir() +
                         "\nWexbridge.logpath=" + LogDir() + "\n");
  std::filesystem::create_directory(LogDir());
  sandbox_.Reload();
}

std::string ExpectedTextHeader() {
  const std::u16string text =
      u"#-------------------------------\r\n# Do not remove this block\r\n"
      u"# This data file is parsed\r\n#------------------------------- \r\n\r\n";
  return std::string("\xFF\xFE", 2) + Utf16le(text);
}

TextLog DecodeTextLog(const std::string &bytes) {
  TextLog log;
  log.header_ok =
      bytes.size() >= kHeaderSize && bytes.compare(0, kHeaderSize, ExpectedTextHeader()) == 0;
  const std::u16string text = Units(bytes.substr(std::min(bytes.size(), kHeaderSize)));
  // Record starts: "EventID: " at the start or anywhere a cut record left it.
  std::vector<size_t> starts;
  for (size_t at = text.find(u"EventID: "); at != std::u16string::npos;
       at = text.find(u"EventID: ", at + 1)) {
    starts.push_back(at);
  }
  if (starts.empty() ? !text.empty() : starts.front() != 0) ++log.damaged;
  for (size_t i = 0; i < starts.size(); ++i) {
    const size_t end = i + 1 < starts.size() ? starts[i + 1] : text.size();
    TextRecord record;
    if (DecodeRecord(text, starts[i], end, &record)) {
      log.records.push_back(std::move(record));
    } else {
      ++log.damaged;
      log.tail_damaged = i + 1 == starts.size();
    }
  }
  return log;
}

std::string Utf16le(const std::u16string &text) {
  std::string bytes;
  for (char16_t c : text) bytes.append({static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)});
  return bytes;
}

std::u16string FromUtf8(const std::string &utf8) {
  return Units(Convert("UTF-16LE", "UTF-8", utf8));
}

std::string ToUtf8(const std::u16string &text) {
  return Convert("UTF-8", "UTF-16LE", Utf16le(text));
}

std::optional<std::vector<XmlEntry>> ParseXmlLog(const std::string &bytes, std::string *error) {
  xmlDocPtr doc = xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), "log.xml", nullptr,
                                XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
  if (doc == nullptr) {
    if (error != nullptr) {
      const xmlError *last = xmlGetLastError();
      *error = last != nullptr && last->message != nullptr ? last->message : "parse failed";
    }
    return std::nullopt;
  }
  std::optional<std::vector<XmlEntry>> entries;
  xmlNodePtr root = xmlDocGetRootElement(doc);
  if (root != nullptr && std::strcmp(reinterpret_cast<const char *>(root->name), "EventLog") == 0) {
    entries.emplace();
    for (xmlNodePtr node = root->children; node != nullptr; node = node->next) {
      if (node->type != XML_ELEMENT_NODE) continue;
      XmlEntry entry;
      entry.order.push_back(reinterpret_cast<const char *>(node->name));
      for (xmlNodePtr child = node->children; child != nullptr; child = child->next) {
        if (child->type != XML_ELEMENT_NODE) continue;
        const std::string name = reinterpret_cast<const char *>(child->name);
        entry.order.push_back(name);
        xmlChar *content = xmlNodeGetContent(child);
        entry.text[name] = content != nullptr ? reinterpret_cast<const char *>(content) : "";
        xmlFree(content);
      }
      entries->push_back(std::move(entry));
    }
  }
  xmlFreeDoc(doc);
  return entries;
}

mode_t ModeOf(const std::string &path) {
  struct stat facts {};
  if (stat(path.c_str(), &facts) != 0) return 0;
  return facts.st_mode & 07777;
}

std::string CtimeOf(time_t when) {
  char text[32] = "";
  ctime_r(&when, text);
  text[std::strcspn(text, "\n")] = 0;
  return text;
}

std::string HostName() {
  char host[256] = "";
  gethostname(host, sizeof host);
  host[64] = 0;
  return host;
}

}  // namespace logtest
