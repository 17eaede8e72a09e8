// kxsupt sdo dump|encode: SDO binaries and binary arrays as readable text or
// JSON, and back. Images come from other processes and from files, so every
// image is checked against the bytes actually present before the library
// reads it in place; a damaged image is reported, never followed.
#include <kxsupt.h>

#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "command.h"
#include "io.h"

namespace kxtool {

namespace {

using Json = nlohmann::ordered_json;
using Bytes = std::vector<uint8_t>;

constexpr int kMaxDepth = 64;  // deeper images are refused rather than followed
constexpr uint8_t kCodeNested = 12;
constexpr uint8_t kCodeChild = 13;
constexpr uint8_t kArrayFlag = 0x10;

class BadInput : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::string HexText(const Bytes &bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out;
  for (uint8_t b : bytes) {
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
  return out;
}

Bytes FromHex(const std::string &text, const std::string &where) {
  auto nibble = [&](char c) -> uint8_t {
    if (c >= '0' && c <= '9') return static_cast<uint8_t>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<uint8_t>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F') return static_cast<uint8_t>(c - 'A' + 10);
    throw BadInput(where + ": \"hex\" holds a non-hexadecimal character");
  };
  if (text.size() % 2 != 0) throw BadInput(where + ": \"hex\" has an odd number of digits");
  Bytes bytes;
  for (size_t i = 0; i < text.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(nibble(text[i]) << 4 | nibble(text[i + 1])));
  }
  return bytes;
}

// A value reads as text when it is printable UTF-8 ended by its only NUL.
bool LooksLikeText(const Bytes &bytes) {
  if (bytes.size() < 2 || bytes.back() != 0) return false;
  for (size_t i = 0; i + 1 < bytes.size(); ++i) {
    if (bytes[i] == 0 || (bytes[i] < 0x20 && bytes[i] != '\t' && bytes[i] != '\n')) return false;
  }
  try {
    (void)Json(std::string(bytes.begin(), bytes.end() - 1)).dump();  // throws on bad UTF-8
    return true;
  } catch (const Json::exception &) {
    return false;
  }
}

// --- dump: image -> JSON tree --------------------------------------------

Json DumpImage(const Bytes &image, int depth, const std::string &where);

Json DumpValue(uint16_t id, uint8_t type, const Bytes &value, int depth) {
  Json entry;
  entry["id"] = id;
  entry["type"] = type;
  entry["length"] = value.size();
  if ((type & 0x0F) == kCodeNested) {
    Json nested = DumpImage(value, depth + 1, "entry " + std::to_string(id));
    if (nested["kind"] == "array") {
      entry["array"] = nested["elements"];
    } else {
      entry["object"] = Json{{"entries", nested["entries"]}};
    }
    return entry;
  }
  entry["hex"] = HexText(value);
  if (LooksLikeText(value)) {
    entry["text"] = std::string(value.begin(), value.end() - 1);
  } else if (value.size() == 1 || value.size() == 2 || value.size() == 4 || value.size() == 8) {
    uint64_t number = 0;
    for (size_t i = value.size(); i-- > 0;) number = number << 8 | value[i];
    entry["int"] = number;
  }
  return entry;
}

Json DumpImage(const Bytes &image, int depth, const std::string &where) {
  if (depth > kMaxDepth) throw BadInput(where + ": images nested too deeply");
  if (image.size() < 8) throw BadInput(where + ": too short for an SDO header");
  uint16_t isArray = 0;
  const uint32_t total = SMSDOBinaryGetSize(image.data(), &isArray);
  if (total == 0) throw BadInput(where + ": not an SDO binary (bad magic)");
  if (total < 8 || total > image.size()) {
    throw BadInput(where + ": header claims " + std::to_string(total) + " bytes but " +
                   std::to_string(image.size()) + " are present");
  }
  const int32_t count = SMSDOBinaryGetCount(image.data(), nullptr);
  Json node;
  node["kind"] = isArray ? "array" : "object";
  node["size"] = total;
  if (isArray) {
    Json elements = Json::array();
    for (int32_t i = 0; i < count; ++i) {
      const std::string here = where + ", element " + std::to_string(i);
      uint32_t size = 0;
      if (SMSDOBinaryArrayGetByIndex(image.data(), 0, static_cast<uint32_t>(i), nullptr, &size) !=
          SM_STATUS_BUFFER_TOO_SMALL) {
        throw BadInput(here + ": damaged");
      }
      Bytes element(size);
      if (SMSDOBinaryArrayGetByIndex(image.data(), 0, static_cast<uint32_t>(i), element.data(),
                                     &size) != SM_STATUS_SUCCESS) {
        throw BadInput(here + ": damaged");
      }
      Json child = DumpImage(element, depth + 1, here);
      if (child["kind"] != "object") throw BadInput(here + ": not an SDO object");
      elements.push_back(Json{{"entries", child["entries"]}});
    }
    node["elements"] = elements;
    return node;
  }
  Json entries = Json::array();
  for (int32_t i = 0; i < count; ++i) {
    const std::string here = where + ", record " + std::to_string(i);
    uint16_t id = 0;
    uint8_t type = 0;
    uint32_t size = 0;
    if (SMSDOBinaryGetDataByIndex(image.data(), static_cast<uint32_t>(i), &id, &type, nullptr,
                                  &size) != SM_STATUS_BUFFER_TOO_SMALL) {
      throw BadInput(here + ": damaged");
    }
    Bytes value(size);
    if (SMSDOBinaryGetDataByIndex(image.data(), static_cast<uint32_t>(i), &id, &type, value.data(),
                                  &size) != SM_STATUS_SUCCESS) {
      throw BadInput(here + ": damaged");
    }
    entries.push_back(DumpValue(id, type, value, depth));
  }
  node["entries"] = entries;
  return node;
}

// --- dump: JSON tree -> indented text --------------------------------------

std::string TypeText(uint8_t type) {
  char text[64];
  std::snprintf(text, sizeof text, "type 0x%02x code %u", type, type & 0x0Fu);
  std::string out = text;
  if (type & kArrayFlag) out += " array";
  if (type & 0x20) out += " bit5";
  if (type >> 6) out += " attr " + std::to_string(type >> 6);
  return out;
}

void PrintEntries(std::ostream &out, const Json &entries, const std::string &indent);

void PrintObjectHeader(std::ostream &out, const Json &entries, const std::string &indent) {
  out << indent << "object, " << entries.size() << (entries.size() == 1 ? " entry" : " entries")
      << '\n';
}

void PrintEntries(std::ostream &out, const Json &entries, const std::string &indent) {
  for (const Json &entry : entries) {
    char id[16];
    std::snprintf(id, sizeof id, "0x%04x", entry["id"].get<unsigned>());
    out << indent << "id " << id << "  " << TypeText(entry["type"].get<uint8_t>()) << "  "
        << entry["length"].get<size_t>() << " bytes";
    if (entry.contains("object")) {
      out << '\n';
      PrintObjectHeader(out, entry["object"]["entries"], indent + "  ");
      PrintEntries(out, entry["object"]["entries"], indent + "    ");
    } else if (entry.contains("array")) {
      out << "\n" << indent << "  array, " << entry["array"].size() << " elements\n";
      size_t index = 0;
      for (const Json &element : entry["array"]) {
        out << indent << "    [" << index++ << "] ";
        PrintObjectHeader(out, element["entries"], "");
        PrintEntries(out, element["entries"], indent + "      ");
      }
    } else if (entry.contains("text")) {
      out << "  text " << Json(entry["text"]).dump() << '\n';
    } else if (entry.contains("int")) {
      out << "  int " << entry["int"].get<uint64_t>() << "  hex " << entry["hex"].get<std::string>()
          << '\n';
    } else {
      out << "  hex " << entry["hex"].get<std::string>() << '\n';
    }
  }
}

void PrintText(std::ostream &out, const Json &root) {
  if (root["kind"] == "array") {
    out << "SDO binary array, " << root["elements"].size() << " elements, " << root["size"]
        << " bytes\n";
    size_t index = 0;
    for (const Json &element : root["elements"]) {
      out << "  [" << index++ << "] ";
      PrintObjectHeader(out, element["entries"], "");
      PrintEntries(out, element["entries"], "    ");
    }
    return;
  }
  out << "SDO binary, " << root["entries"].size() << " entries, " << root["size"] << " bytes\n";
  PrintEntries(out, root["entries"], "  ");
}

// --- encode: JSON tree -> config -> image ----------------------------------

struct ConfigDeleter {
  void operator()(SDOConfig *config) const { SMSDOConfigFree(config); }
};
using ConfigPtr = std::unique_ptr<SDOConfig, ConfigDeleter>;

template <typename T>
T Field(const Json &node, const char *name, const std::string &where) {
  if (!node.contains(name)) throw BadInput(where + ": missing \"" + name + "\"");
  try {
    return node[name].get<T>();
  } catch (const Json::exception &) {
    throw BadInput(where + ": \"" + name + "\" has the wrong type");
  }
}

std::string StatusText(SMStatus status) {
  return "the library refused it with status " + std::to_string(status);
}

ConfigPtr BuildConfig(const Json &object, int depth, const std::string &where);

// The value bytes of a plain entry: "hex" wins, then "text" (stored with its
// terminating NUL), then "int" in "length" bytes (default 4), little-endian.
Bytes PlainValue(const Json &entry, const std::string &where) {
  if (entry.contains("hex")) return FromHex(Field<std::string>(entry, "hex", where), where);
  if (entry.contains("text")) {
    std::string text = Field<std::string>(entry, "text", where);
    Bytes bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
  }
  if (entry.contains("int")) {
    uint64_t number = Field<uint64_t>(entry, "int", where);
    size_t length = entry.contains("length") ? Field<size_t>(entry, "length", where) : 4;
    if (length == 0 || length > 8) throw BadInput(where + ": \"int\" needs a length of 1 to 8");
    Bytes bytes(length);
    for (uint8_t &b : bytes) b = static_cast<uint8_t>(number), number >>= 8;
    if (number != 0) throw BadInput(where + ": \"int\" does not fit its length");
    return bytes;
  }
  throw BadInput(where + ": an entry needs \"hex\", \"text\", \"int\", \"object\" or \"array\"");
}

void AddEntry(SDOConfig *config, const Json &entry, int depth, const std::string &where) {
  const uint16_t id = Field<uint16_t>(entry, "id", where);
  const std::string here = where + ", id " + std::to_string(id);
  const uint8_t type = Field<uint8_t>(entry, "type", here);
  SMStatus status;
  if (entry.contains("object")) {
    ConfigPtr child = BuildConfig(entry["object"], depth + 1, here);
    status = SMSDOConfigAddData(config, id, static_cast<uint8_t>((type & 0xE0) | kCodeChild),
                                child.get(), sizeof(SDOConfig *), 0);
    if (status == SM_STATUS_SUCCESS) child.release();  // the parent owns it now
  } else if (entry.contains("array")) {
    if (!entry["array"].is_array() || entry["array"].empty()) {
      throw BadInput(here + ": \"array\" must list at least one object");
    }
    std::vector<ConfigPtr> children;
    for (const Json &element : entry["array"]) {
      children.push_back(BuildConfig(element, depth + 1, here));
    }
    std::vector<SDOConfig *> handles;
    for (const ConfigPtr &child : children) handles.push_back(child.get());
    status = SMSDOConfigAddData(
        config, id, static_cast<uint8_t>((type & 0xE0) | kArrayFlag | kCodeChild), handles.data(),
        static_cast<uint32_t>(handles.size() * sizeof(SDOConfig *)), 0);
    if (status == SM_STATUS_SUCCESS) {
      for (ConfigPtr &child : children) child.release();
    }
  } else {
    // Code 13 holds config handles: bytes from the document must never be
    // taken for one.
    if ((type & 0x0F) == kCodeChild)
      throw BadInput(here + ": code 13 needs \"object\" or \"array\"");
    Bytes value = PlainValue(entry, here);
    status =
        SMSDOConfigAddData(config, id, type, value.data(), static_cast<uint32_t>(value.size()), 0);
  }
  if (status != SM_STATUS_SUCCESS) throw BadInput(here + ": " + StatusText(status));
}

ConfigPtr BuildConfig(const Json &object, int depth, const std::string &where) {
  if (depth > kMaxDepth) throw BadInput(where + ": objects nested too deeply");
  if (!object.is_object()) throw BadInput(where + ": an object must be a JSON object");
  ConfigPtr config(SMSDOConfigAlloc());
  if (!config) throw std::runtime_error("out of memory");
  if (!object.contains("entries")) return config;
  if (!object["entries"].is_array()) throw BadInput(where + ": \"entries\" must be a list");
  for (const Json &entry : object["entries"]) AddEntry(config.get(), entry, depth, where);
  return config;
}

Bytes EncodeRoot(const Json &root) {
  if (!root.is_object()) throw BadInput("the document must be a JSON object");
  if (root.value("kind", "object") == "array") {
    if (!root.contains("elements") || !root["elements"].is_array()) {
      throw BadInput("an array needs \"elements\"");
    }
    std::vector<ConfigPtr> configs;
    for (const Json &element : root["elements"]) {
      configs.push_back(BuildConfig(element, 1, "element " + std::to_string(configs.size())));
    }
    std::vector<SDOConfig *> handles;
    for (const ConfigPtr &config : configs) handles.push_back(config.get());
    Bytes image(65535);
    uint32_t size = static_cast<uint32_t>(image.size());
    SMStatus status = SMSDOConfigArrayToBinaryArray(
        handles.data(), static_cast<uint32_t>(handles.size()), image.data(), &size);
    if (status != SM_STATUS_SUCCESS) throw BadInput("array: " + StatusText(status));
    // Elements that do not fit are left out silently: the header tells.
    if (SMSDOBinaryGetSize(image.data(), nullptr) != size ||
        SMSDOBinaryGetCount(image.data(), nullptr) != static_cast<int32_t>(handles.size())) {
      throw BadInput("array: the elements exceed 65535 bytes");
    }
    image.resize(size);
    return image;
  }
  ConfigPtr config = BuildConfig(root, 0, "object");
  uint32_t size = SMSDOConfigGetBinarySize(config.get());
  Bytes image(size);
  SMStatus status = SMSDOConfigToBinary(config.get(), image.data(), &size);
  if (status != SM_STATUS_SUCCESS) throw BadInput("object: " + StatusText(status));
  image.resize(size);
  return image;
}

// --- the command -------------------------------------------------------------

class SdoCommand : public Command {
 public:
  void Configure(CLI::App &sub) override {
    sub.require_subcommand(1);
    CLI::App *dump = sub.add_subcommand("dump", "decode an SDO binary or binary array");
    dump->add_option("file", input_, "the binary; \"-\" reads standard input")->required();
    dump->add_flag("--json", json_, "write JSON that \"sdo encode\" turns back into the binary");
    dump_ = dump;
    CLI::App *encode =
        sub.add_subcommand("encode", "build an SDO binary from its JSON description");
    encode->add_option("file", input_, "the JSON; \"-\" reads standard input")->required();
    encode->add_option("-o,--output", output_, "write the binary here instead of standard output");
  }

  int Run() override {
    Bytes input;
    if (int status = ReadAll(input_, &input); status != kExitOk) return status;
    try {
      return dump_->parsed() ? Dump(input) : Encode(input);
    } catch (const BadInput &error) {
      Complain(input_ + ": " + error.what());
      return kExitBadInput;
    }
  }

 private:
  int Dump(const Bytes &input) {
    Json root = DumpImage(input, 0, "image");
    const uint32_t total = root["size"].get<uint32_t>();
    if (total < input.size()) {
      Complain(input_ + ": ignoring " + std::to_string(input.size() - total) +
               " bytes after the image");
    }
    if (json_) {
      std::cout << root.dump(2) << '\n';
    } else {
      PrintText(std::cout, root);
    }
    return kExitOk;
  }

  int Encode(const Bytes &input) {
    Json root = Json::parse(input.begin(), input.end(), nullptr, /*allow_exceptions=*/false);
    if (root.is_discarded()) throw BadInput("not valid JSON");
    Bytes image = EncodeRoot(root);
    if (output_.empty()) {
      std::cout.write(reinterpret_cast<const char *>(image.data()),
                      static_cast<std::streamsize>(image.size()));
      return kExitOk;
    }
    std::ofstream file(output_, std::ios::binary);
    file.write(reinterpret_cast<const char *>(image.data()),
               static_cast<std::streamsize>(image.size()));
    if (!file) {
      Complain(output_ + ": cannot write");
      return kExitBadInput;
    }
    return kExitOk;
  }

  CLI::App *dump_ = nullptr;
  std::string input_;
  std::string output_;
  bool json_ = false;
};

}  // namespace

KXSUPT_COMMAND(SdoCommand, "sdo", "decode SDO binaries (dump) or build them from JSON (encode)");

}  // namespace kxtool
