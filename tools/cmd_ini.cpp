// kxsupt ini get|set|del|list: INI files through the library's engine, with
// its locks, typed values and crash-safe rewrite. Values are read and written
// as one of the engine's nine types (--type); lists name sections or keys.
#include <kxsupt.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "command.h"

namespace kxtool {

namespace {

using Json = nlohmann::ordered_json;

struct TypeName {
  const char *name;
  uint32_t type;
};
constexpr TypeName kTypes[] = {{"text", 1},   {"ucs2", 2},   {"bytes", 3},
                               {"bool", 4},   {"uint32", 5}, {"int32", 6},
                               {"uint64", 7}, {"int64", 8},  {"double", 9}};

class BadValue : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Exit status and message for a library status.
int Report(SMStatus status, const std::string &what) {
  if (status == SM_STATUS_END_OF_FILE) {
    Complain(what + ": no such section");
    return kExitNotFound;
  }
  return ReportConfigStatus(status, what, "no such key");
}

std::string Hex(const uint8_t *bytes, size_t size) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out;
  for (size_t i = 0; i < size; ++i) {
    out += kDigits[bytes[i] >> 4];
    out += kDigits[bytes[i] & 15];
  }
  return out;
}

std::vector<uint8_t> FromHex(const std::string &text) {
  auto nibble = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    throw BadValue("a byte value is hexadecimal digits, two per byte");
  };
  if (text.empty() || text.size() % 2 != 0) {
    throw BadValue("a byte value is hexadecimal digits, two per byte");
  }
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i < text.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(nibble(text[i]) << 4 | nibble(text[i + 1])));
  }
  return bytes;
}

template <typename T>
T ParseInteger(const std::string &text) {
  errno = 0;
  char *end = nullptr;
  T value;
  if constexpr (std::is_signed_v<T>) {
    long long parsed = std::strtoll(text.c_str(), &end, 0);
    value = static_cast<T>(parsed);
    if (parsed != static_cast<long long>(value)) errno = ERANGE;
  } else {
    if (text.find('-') != std::string::npos) throw BadValue("\"" + text + "\" is negative");
    unsigned long long parsed = std::strtoull(text.c_str(), &end, 0);
    value = static_cast<T>(parsed);
    if (parsed != static_cast<unsigned long long>(value)) errno = ERANGE;
  }
  if (text.empty() || *end != '\0' || errno != 0) {
    throw BadValue("\"" + text + "\" is not a number of this type");
  }
  return value;
}

// The value of a command-line text as the caller's bytes for `type`.
std::vector<uint8_t> EncodeValue(uint32_t type, const std::string &text) {
  auto bytes_of = [](const auto &value) {
    const auto *raw = reinterpret_cast<const uint8_t *>(&value);
    return std::vector<uint8_t>(raw, raw + sizeof value);
  };
  switch (type) {
    case 1:
      return std::vector<uint8_t>(text.c_str(), text.c_str() + text.size() + 1);
    case 2: {
      uint32_t size = 0;
      if (SMUTF8StrToUCS2Str(nullptr, &size, text.c_str()) != SM_STATUS_SUCCESS) {
        throw BadValue("the text is not UTF-8");
      }
      std::vector<uint8_t> units(size);
      if (SMUTF8StrToUCS2Str(reinterpret_cast<uint16_t *>(units.data()), &size, text.c_str()) !=
          SM_STATUS_SUCCESS) {
        throw BadValue("the text is not UTF-8");
      }
      units.resize(size);
      return units;
    }
    case 3:
      return FromHex(text);
    case 4: {
      uint16_t flag;
      if (text == "true" || text == "TRUE" || text == "1") {
        flag = 1;
      } else if (text == "false" || text == "FALSE" || text == "0") {
        flag = 0;
      } else {
        throw BadValue("a boolean is true or false");
      }
      return bytes_of(flag);
    }
    case 5:
      return bytes_of(ParseInteger<uint32_t>(text));
    case 6:
      return bytes_of(ParseInteger<int32_t>(text));
    case 7:
      return bytes_of(ParseInteger<uint64_t>(text));
    case 8:
      return bytes_of(ParseInteger<int64_t>(text));
    default: {
      char *end = nullptr;
      double value = std::strtod(text.c_str(), &end);
      if (text.empty() || *end != '\0') throw BadValue("\"" + text + "\" is not a number");
      return bytes_of(value);
    }
  }
}

// The value read back, as JSON (a string, number or boolean).
Json DecodeValue(uint32_t type, const std::vector<uint8_t> &bytes) {
  auto load = [&](auto value) {
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
  };
  switch (type) {
    case 1:
      return std::string(reinterpret_cast<const char *>(bytes.data()));
    case 2: {
      std::vector<uint16_t> units(bytes.size() / 2 + 1, 0);
      std::memcpy(units.data(), bytes.data(), bytes.size() / 2 * 2);
      uint32_t size = 0;
      if (SMUCS2StrToUTF8Str(nullptr, &size, units.data()) != SM_STATUS_SUCCESS) return Json();
      std::string text(size, '\0');
      if (SMUCS2StrToUTF8Str(text.data(), &size, units.data()) != SM_STATUS_SUCCESS) return Json();
      return std::string(text.c_str());
    }
    case 3:
      return Hex(bytes.data(), bytes.size());
    case 4:
      return load(uint16_t{}) == 1;
    case 5:
      return load(uint32_t{});
    case 6:
      return load(int32_t{});
    case 7:
      return load(uint64_t{});
    case 8:
      return load(int64_t{});
    default:
      return load(double{});
  }
}

std::string PlainText(const Json &value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number_float()) {
    char text[64];
    std::snprintf(text, sizeof text, "%.17g", value.get<double>());
    return text;
  }
  return value.dump();
}

// A list of names (sections, or the keys of a section), grown until it fits.
SMStatus ReadList(const std::string &file, const char *section, std::vector<std::string> *names) {
  std::vector<char> buffer(4096);
  for (;;) {
    uint32_t size = static_cast<uint32_t>(buffer.size());
    SMStatus status = SMReadINIPathFileValue(section, nullptr, 1, buffer.data(), &size, nullptr, 0,
                                             file.c_str(), 1);
    if (status == SM_STATUS_BUFFER_TOO_SMALL && size > buffer.size()) {
      buffer.resize(size);
      continue;
    }
    if (status != SM_STATUS_SUCCESS) return status;
    for (const char *name = buffer.data(); *name != '\0'; name += std::strlen(name) + 1) {
      names->push_back(name);
    }
    return status;
  }
}

class IniCommand : public Command {
 public:
  void Configure(CLI::App &sub) override {
    sub.require_subcommand(1);
    auto type_option = [this](CLI::App *app) {
      app->add_option("-t,--type", type_name_,
                      "value type: text, ucs2, bytes (hex), bool, uint32, int32, uint64, int64, "
                      "double, or 1-9")
          ->default_val("text");
    };
    get_ = sub.add_subcommand("get", "print one value");
    get_->add_option("file", file_, "the INI file")->required();
    get_->add_option("section", section_, "the section")->required();
    get_->add_option("key", key_, "the key")->required();
    type_option(get_);
    get_->add_flag("--json", json_, "print a JSON object");

    set_ = sub.add_subcommand("set", "set or add one value (the file is created if missing)");
    set_->add_option("file", file_, "the INI file")->required();
    set_->add_option("section", section_, "the section")->required();
    set_->add_option("key", key_, "the key")->required();
    set_->add_option("value", value_, "the value, as text of its type")->required();
    type_option(set_);
    set_->add_flag("--json", json_, "print the stored value as a JSON object");

    del_ = sub.add_subcommand("del", "remove a key, or a whole section");
    del_->add_option("file", file_, "the INI file")->required();
    del_->add_option("section", section_, "the section")->required();
    del_->add_option("key", key_, "the key; without it the section goes");
    del_->add_flag("--json", json_, "print a JSON object");

    list_ = sub.add_subcommand("list", "list the sections, or the keys of a section");
    list_->add_option("file", file_, "the INI file")->required();
    list_->add_option("section", section_, "the section whose keys to list");
    list_->add_flag("--json", json_, "print a JSON object");
  }

  int Run() override {
    try {
      if (get_->parsed()) return Get();
      if (set_->parsed()) return Set();
      if (del_->parsed()) return Delete();
      return List();
    } catch (const BadValue &error) {
      Complain(error.what());
      return kExitBadInput;
    }
  }

 private:
  uint32_t Type() const {
    for (const TypeName &entry : kTypes) {
      if (type_name_ == entry.name || type_name_ == std::to_string(entry.type)) return entry.type;
    }
    throw BadValue("unknown type \"" + type_name_ + "\"");
  }
  const char *TypeText(uint32_t type) const { return kTypes[type - 1].name; }

  int Get() {
    const uint32_t type = Type();
    std::vector<uint8_t> value(type == 1 ? 8193 : 8451);
    uint32_t size = static_cast<uint32_t>(value.size());
    SMStatus status = SMReadINIPathFileValue(section_.c_str(), key_.c_str(), type, value.data(),
                                             &size, nullptr, 0, file_.c_str(), 1);
    if (status == SM_STATUS_BUFFER_TOO_SMALL && type == 1) {
      value.resize(size);
      status = SMReadINIPathFileValue(section_.c_str(), key_.c_str(), type, value.data(), &size,
                                      nullptr, 0, file_.c_str(), 1);
    }
    if (status != SM_STATUS_SUCCESS) return Report(status, file_ + " [" + section_ + "] " + key_);
    value.resize(size);
    Json decoded = DecodeValue(type, value);
    if (json_) {
      std::cout << Json{{"file", file_},
                        {"section", section_},
                        {"key", key_},
                        {"type", TypeText(type)},
                        {"value", decoded}}
                       .dump(2)
                << '\n';
    } else {
      std::cout << PlainText(decoded) << '\n';
    }
    return kExitOk;
  }

  int Set() {
    const uint32_t type = Type();
    const std::vector<uint8_t> value = EncodeValue(type, value_);
    SMStatus status =
        SMWriteINIPathFileValue(section_.c_str(), key_.c_str(), type, value.data(),
                                static_cast<uint32_t>(value.size()), file_.c_str(), 1);
    if (status != SM_STATUS_SUCCESS) return Report(status, file_ + " [" + section_ + "] " + key_);
    if (json_) {
      std::cout << Json{{"file", file_},
                        {"section", section_},
                        {"key", key_},
                        {"type", TypeText(type)},
                        {"value", DecodeValue(type, value)}}
                       .dump(2)
                << '\n';
    }
    return kExitOk;
  }

  int Delete() {
    const bool whole_section = key_.empty();
    SMStatus status = SMWriteINIPathFileValue(
        section_.c_str(), whole_section ? nullptr : key_.c_str(), 1, nullptr, 0, file_.c_str(), 1);
    if (status == SM_STATUS_BAD_VALUE) status = SM_STATUS_END_OF_FILE;  // nothing to remove
    if (status != SM_STATUS_SUCCESS) return Report(status, file_ + " [" + section_ + "]");
    if (json_) {
      Json result{{"file", file_}, {"section", section_}};
      if (!whole_section) result["key"] = key_;
      result["removed"] = true;
      std::cout << result.dump(2) << '\n';
    }
    return kExitOk;
  }

  int List() {
    std::vector<std::string> names;
    const bool keys = !section_.empty();
    SMStatus status = ReadList(file_, keys ? section_.c_str() : nullptr, &names);
    // An empty file or section lists nothing; a missing section is not found.
    if ((!keys && status == SM_STATUS_END_OF_FILE) ||
        (keys && status == SM_STATUS_ENTRY_NOT_FOUND)) {
      status = SM_STATUS_SUCCESS;
    }
    if (status != SM_STATUS_SUCCESS) return Report(status, file_);
    if (json_) {
      Json result{{"file", file_}};
      if (keys) result["section"] = section_;
      result[keys ? "keys" : "sections"] = names;
      std::cout << result.dump(2) << '\n';
    } else {
      for (const std::string &name : names) std::cout << name << '\n';
    }
    return kExitOk;
  }

  CLI::App *get_ = nullptr, *set_ = nullptr, *del_ = nullptr, *list_ = nullptr;
  std::string file_, section_, key_, value_, type_name_ = "text";
  bool json_ = false;
};

}  // namespace

KXSUPT_COMMAND(IniCommand, "ini", "read and edit INI files with the library's engine");

}  // namespace kxtool
