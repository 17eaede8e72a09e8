// kxsupt prop get|set|list: property files through the library's reader and
// writer, with its locks and crash-safe rewrite. Values are text (XLT code
// 13). A property write can only replace the line of an existing key (the
// library rewrites the file empty when no line answers the key), so `set`
// refuses a key that no line answers.
#include <kxsupt.h>

#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "command.h"

namespace kxtool {

namespace {

using Json = nlohmann::ordered_json;

constexpr uint32_t kWaitForLock = 1;

// Exit status and message for a library status.
int Report(SMStatus status, const std::string &what) {
  return ReportConfigStatus(status, what, "no line answers this key");
}

// Reads the key's text, or the key list for a null key, growing the buffer
// until it fits. `bytes` receives what the library delivered (size out).
SMStatus Read(const std::string &file, const char *key, std::vector<char> *bytes) {
  bytes->assign(4096, '\0');
  for (;;) {
    uint32_t size = static_cast<uint32_t>(bytes->size());
    SMStatus status = SMPropertyFileReadValue(key, SM_XLT_UTF8_STRING, bytes->data(), &size,
                                              nullptr, 0, file.c_str(), kWaitForLock);
    if (status == SM_STATUS_BUFFER_TOO_SMALL && size > bytes->size()) {
      bytes->assign(size, '\0');
      continue;
    }
    if (status == SM_STATUS_SUCCESS) bytes->resize(size);
    return status;
  }
}

std::string Dump(const Json &json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

class PropCommand : public Command {
 public:
  void Configure(CLI::App &sub) override {
    sub.require_subcommand(1);
    get_ = sub.add_subcommand("get", "print the value of the first line that answers KEY");
    get_->add_option("file", file_, "the property file")->required();
    get_->add_option("key", key_, "the key")->required();
    get_->add_flag("--json", json_, "print a JSON object");

    set_ = sub.add_subcommand("set",
                              "replace the value of an existing key (a write cannot add a key)");
    set_->add_option("file", file_, "the property file")->required();
    set_->add_option("key", key_, "the key")->required();
    set_->add_option("value", value_, "the new value, as text")->required();
    set_->add_flag("--json", json_, "print the stored value as a JSON object");

    list_ = sub.add_subcommand("list", "list the keys in file order");
    list_->add_option("file", file_, "the property file")->required();
    list_->add_flag("--json", json_, "print a JSON object");
  }

  int Run() override {
    if (get_->parsed()) return Get();
    if (set_->parsed()) return Set();
    return List();
  }

 private:
  int Get() {
    std::vector<char> bytes;
    SMStatus status = Read(file_, key_.c_str(), &bytes);
    if (status != SM_STATUS_SUCCESS) return Report(status, file_ + ": " + key_);
    const std::string value(bytes.data());
    if (json_) {
      std::cout << Dump(Json{{"file", file_}, {"key", key_}, {"value", value}}) << '\n';
    } else {
      std::cout << value << '\n';
    }
    return kExitOk;
  }

  int Set() {
    // The library would empty the file for a key that no line answers.
    std::vector<char> bytes;
    SMStatus status = Read(file_, key_.c_str(), &bytes);
    if (status == SM_STATUS_ENTRY_NOT_FOUND) {
      Complain(file_ + ": " + key_ +
               ": no line answers this key, and a property write cannot add one (the file "
               "would be rewritten empty); nothing was written");
      return kExitNotFound;
    }
    if (status == SM_STATUS_SUCCESS) {
      status = SMPropertyFileWriteValue(key_.c_str(), SM_XLT_UTF8_STRING, value_.c_str(),
                                        static_cast<uint32_t>(value_.size() + 1), file_.c_str(),
                                        kWaitForLock);
    }
    if (status != SM_STATUS_SUCCESS) return Report(status, file_ + ": " + key_);
    if (json_) {
      std::cout << Dump(Json{{"file", file_}, {"key", key_}, {"value", value_}}) << '\n';
    }
    return kExitOk;
  }

  int List() {
    std::vector<char> bytes;
    SMStatus status = Read(file_, nullptr, &bytes);
    std::vector<std::string> keys;
    if (status == SM_STATUS_SUCCESS) {
      // Walk by the size delivered: an empty key (a line starting with ':'
      // or '=') would end a walk that stops at the first empty name.
      for (size_t at = 0; at + 1 < bytes.size(); at += std::strlen(bytes.data() + at) + 1) {
        keys.emplace_back(bytes.data() + at);
      }
    } else if (status != SM_STATUS_ENTRY_NOT_FOUND) {
      return Report(status, file_);
    }
    if (json_) {
      std::cout << Dump(Json{{"file", file_}, {"keys", keys}}) << '\n';
    } else {
      for (const std::string &key : keys) std::cout << key << '\n';
    }
    return kExitOk;
  }

  CLI::App *get_ = nullptr, *set_ = nullptr, *list_ = nullptr;
  std::string file_, key_, value_;
  bool json_ = false;
};

}  // namespace

KXSUPT_COMMAND(PropCommand, "prop", "read and edit property files with the library's reader");

}  // namespace kxtool
