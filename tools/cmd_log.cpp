// kxsupt log show|append|clear|path: the event logs by hand. "show" decodes
// the UTF-16 text log or the XML log (the default logs, or a file) into
// readable records or JSON; "append" and "clear" go through the library's
// own calls, so they take its locks and follow its rotation; "path" prints
// where the default logs are.
#include <kxsupt.h>

#include <cstdio>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "command.h"
#include "io.h"
#include "log_reader.h"

namespace kxtool {

namespace {

using Json = nlohmann::ordered_json;

constexpr uint32_t kSelectText = 4;
constexpr uint32_t kSelectXml = 8;
constexpr uint32_t kSelectSystem = 2;

std::string Hex(const std::vector<uint8_t> &bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out;
  for (uint8_t b : bytes) {
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
  return out;
}

bool FromHex(const std::string &text, std::vector<uint8_t> *bytes) {
  auto nibble = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  if (text.size() % 2 != 0) return false;
  for (size_t i = 0; i < text.size(); i += 2) {
    const int high = nibble(text[i]), low = nibble(text[i + 1]);
    if (high < 0 || low < 0) return false;
    bytes->push_back(static_cast<uint8_t>(high * 16 + low));
  }
  return true;
}

// Event types by name or number.
bool ParseType(const std::string &text, uint16_t *type) {
  static const std::map<std::string, uint16_t> kNames = {
      {"none", 0},        {"error", 1},         {"warning", 2},
      {"information", 4}, {"audit-success", 8}, {"audit-failure", 16}};
  if (auto found = kNames.find(text); found != kNames.end()) {
    *type = found->second;
    return true;
  }
  try {
    size_t used = 0;
    const unsigned long value = std::stoul(text, &used);
    if (used != text.size() || value > 0xFFFF) return false;
    *type = static_cast<uint16_t>(value);
    return true;
  } catch (const std::exception &) {
    return false;
  }
}

// The default path of the selected log, or a complaint and an exit status.
int DefaultPath(uint32_t flags, bool backup, std::string *path) {
  char buffer[256];
  uint32_t size = sizeof buffer;
  const SMStatus status = backup ? SMGetBackupLogPathFileName(flags, buffer, &size)
                                 : SMGetLogPathFileName(flags, buffer, &size);
  if (status != SM_STATUS_SUCCESS) {
    Complain("no default log path (status " + std::to_string(status) +
             "; is KXSUPT_REGISTRY_FILE set to a registry with Wexbridge.logpath?)");
    return kExitNotFound;
  }
  *path = buffer;
  return kExitOk;
}

Json RecordJson(const LogRecord &r, bool xml) {
  Json out;
  out["eventId"] = r.event_id;
  if (xml) out["timeStamp"] = r.timestamp;
  out["time"] = r.time;
  out["computer"] = r.computer;
  out["type"] = r.type;
  out["category"] = r.category;
  out["source"] = r.source;
  if (xml) {
    out["userInfo"] = r.user_info;
    out["link"] = r.link;
  }
  out["description"] = r.description;
  out["data"] = Hex(r.data);
  return out;
}

void PrintRecord(const LogRecord &r, bool xml) {
  std::cout << "EventID: " << r.event_id << '\n';
  std::cout << "  Time: " << r.time;
  if (xml) std::cout << " (" << r.timestamp << ")";
  std::cout << '\n';
  std::cout << "  Computer: " << r.computer << '\n';
  std::cout << "  Type: " << r.type << '\n';
  std::cout << "  Category: " << r.category << '\n';
  std::cout << "  Source: " << r.source << '\n';
  if (xml) {
    std::cout << "  User: " << r.user_info << '\n';
    std::cout << "  Link: " << r.link << '\n';
  }
  std::cout << "  Description: " << r.description << '\n';
  std::cout << "  Data: " << r.data.size() << " bytes";
  if (!r.data.empty()) std::cout << ' ' << Hex(r.data);
  std::cout << '\n';
}

class LogCommand : public Command {
 public:
  void Configure(CLI::App &sub) override {
    sub.require_subcommand(1);

    show_ = sub.add_subcommand("show", "decode the text or XML event log into records");
    auto *format = show_->add_option_group("format");
    format->add_flag("--text", text_, "the UTF-16 text log (the default without FILE)");
    format->add_flag("--xml", xml_, "the XML log");
    format->require_option(0, 1);
    show_->add_option("--tail", tail_, "only the last N records")->check(CLI::NonNegativeNumber);
    show_->add_flag("--json", json_, "write JSON");
    show_->add_option("file", file_,
                      "the log file (\"-\" reads standard input); default: the product's log");

    append_ = sub.add_subcommand("append", "append one event through the library");
    append_->add_option("description", description_, "the event's description")->required();
    append_->add_flag("--text", text_, "the default text log");
    append_->add_flag("--xml", xml_, "the default XML log");
    append_->add_flag("--syslog", syslog_, "the system log");
    append_->add_option("--file", file_, "an XML log of your own instead of the default logs");
    append_->add_option("--type", type_text_,
                        "none, error, warning, information (default), audit-success, "
                        "audit-failure, or a number");
    append_->add_option("--category", category_, "1 to 6 (default 1)");
    append_->add_option("--id", event_id_, "the event identifier (default 0)");
    append_->add_option("--source", source_, "the reporting source (default kxsupt)");
    append_->add_option("--user", user_, "user information (XML logs of --file only)");
    append_->add_option("--link", link_, "a link (XML logs of --file only)");
    append_->add_option("--data", data_hex_, "the event's data, in hexadecimal");
    append_->add_option("--max-size", max_size_, "maximum size of the --file log in bytes");

    clear_ = sub.add_subcommand("clear", "clear a log and write its \"Log was cleared\" entry");
    clear_->add_flag("--text", text_, "the default text log");
    clear_->add_flag("--xml", xml_, "the default XML log");
    clear_->add_option("--file", file_, "an XML log of your own instead of the default logs");
    clear_->add_option("--category", category_, "1 to 6 (default 1)");
    clear_->add_option("--source", source_, "the source of the clear entry (default kxsupt)");
    clear_->add_option("--user", user_, "user information (--file only)");

    path_ = sub.add_subcommand("path", "print the default log's path");
    auto *which = path_->add_option_group("log");
    which->add_flag("--text", text_, "the text log (the default)");
    which->add_flag("--xml", xml_, "the XML log");
    which->require_option(0, 1);
    path_->add_flag("--backup", backup_, "the backup's name instead");
  }

  int Run() override {
    if (show_->parsed()) return Show();
    if (append_->parsed()) return Append();
    if (clear_->parsed()) return Clear();
    return Path();
  }

 private:
  // Default logs chosen by --text/--xml, both when neither is given.
  uint32_t Selected() const {
    uint32_t flags = (text_ ? kSelectText : 0) | (xml_ ? kSelectXml : 0);
    return flags == 0 ? kSelectText | kSelectXml : flags;
  }

  int Show() {
    if (file_.empty()) {
      if (int status = DefaultPath(xml_ ? kSelectXml : kSelectText, false, &file_); status) {
        return status;
      }
    }
    std::vector<unsigned char> bytes;
    if (int status = ReadAll(file_, &bytes); status != kExitOk) return status;
    const bool xml = xml_ || (!text_ && !LooksLikeTextLog(bytes));
    const LogReading reading = xml ? ReadXmlLog(bytes) : ReadTextLog(bytes);
    if (!reading.header_ok && reading.records.empty()) {
      Complain(file_ + ": not " + (xml ? "an XML" : "a text") + " event log");
      return kExitBadInput;
    }
    size_t first = 0;
    if (tail_ >= 0 && static_cast<size_t>(tail_) < reading.records.size()) {
      first = reading.records.size() - static_cast<size_t>(tail_);
    }
    if (json_) {
      Json out;
      out["format"] = xml ? "xml" : "text";
      out["header"] = reading.header_ok;
      if (xml) out["closed"] = reading.closed;
      out["damaged"] = reading.damaged;
      out["records"] = Json::array();
      for (size_t i = first; i < reading.records.size(); ++i) {
        out["records"].push_back(RecordJson(reading.records[i], xml));
      }
      std::cout << out.dump(2) << '\n';
    } else {
      std::cout << (xml ? "XML" : "Text") << " event log " << file_ << ": "
                << reading.records.size() << " records, header "
                << (reading.header_ok ? "intact" : "damaged");
      if (xml) std::cout << ", " << (reading.closed ? "closed" : "not closed");
      std::cout << '\n';
      for (size_t i = first; i < reading.records.size(); ++i) PrintRecord(reading.records[i], xml);
    }
    if (reading.damaged > 0) {
      Complain(file_ + ": skipped " + std::to_string(reading.damaged) + " damaged stretch" +
               (reading.damaged == 1 ? "" : "es"));
    }
    return kExitOk;
  }

  // The event's type and data from the options; false after complaining.
  bool EventFields(uint16_t *type, std::vector<uint8_t> *data) const {
    if (!ParseType(type_text_, type)) {
      Complain("--type: not an event type: " + type_text_);
      return false;
    }
    if (!FromHex(data_hex_, data)) {
      Complain("--data: not hexadecimal: " + data_hex_);
      return false;
    }
    return true;
  }

  static int Report(const char *call, SMStatus status) {
    if (status == SM_STATUS_SUCCESS) return kExitOk;
    Complain(std::string(call) + " failed with status " + std::to_string(status));
    return kExitBadInput;
  }

  int Append() {
    uint16_t type = 0;
    std::vector<uint8_t> data;
    if (!EventFields(&type, &data)) return kExitBadInput;
    const void *bytes = data.empty() ? nullptr : data.data();
    const auto size = static_cast<uint32_t>(data.size());
    if (!file_.empty()) {
      return Report("SMAppendToXMLLog",
                    SMAppendToXMLLog(file_.c_str(), type, category_, event_id_,
                                     user_.empty() ? nullptr : user_.c_str(), source_.c_str(),
                                     description_.c_str(), link_.empty() ? nullptr : link_.c_str(),
                                     bytes, size, max_size_));
    }
    const uint32_t flags = Selected() | (syslog_ ? kSelectSystem : 0);
    return Report("SMAppendToLog", SMAppendToLog(flags, type, category_, event_id_, source_.c_str(),
                                                 description_.c_str(), bytes, size));
  }

  int Clear() {
    if (!file_.empty()) {
      return Report("SMClearXMLLog",
                    SMClearXMLLog(file_.c_str(), category_, user_.empty() ? nullptr : user_.c_str(),
                                  source_.c_str()));
    }
    return Report("SMClearLog", SMClearLog(Selected(), category_, source_.c_str()));
  }

  int Path() {
    std::string path;
    if (int status = DefaultPath(xml_ ? kSelectXml : kSelectText, backup_, &path); status) {
      return status;
    }
    std::cout << path << '\n';
    return kExitOk;
  }

  CLI::App *show_ = nullptr, *append_ = nullptr, *clear_ = nullptr, *path_ = nullptr;
  bool text_ = false, xml_ = false, syslog_ = false, json_ = false, backup_ = false;
  int tail_ = -1;
  std::string file_, description_, type_text_ = "information", source_ = "kxsupt", user_, link_,
                                   data_hex_;
  uint16_t category_ = 1;
  uint32_t event_id_ = 0;
  uint32_t max_size_ = 1048576;
};

}  // namespace

KXSUPT_COMMAND(LogCommand, "log",
               "show the event logs (show), append or clear through the library, print paths");

}  // namespace kxtool
