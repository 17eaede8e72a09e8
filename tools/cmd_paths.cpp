// kxsupt paths [PRODUCT] [TYPE]: the product registry as the library sees it,
// with the environment's install-path overrides applied and the cached
// lookups' rules (a path must exist on disk to be given out).
#include <kxsupt.h>

#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "command.h"

namespace kxtool {

namespace {

using Json = nlohmann::ordered_json;

constexpr int32_t kProducts[] = {-1, 33, 34, 44, 88, 45, 35};
struct PathType {
  const char *word;
  uint32_t type;
};
constexpr PathType kPathTypes[] = {{"installpath", 2}, {"binpath", 128}, {"inipath", 64},
                                   {"vardatapath", 4}, {"logpath", 8},   {"configtool", 16}};

std::string ComponentKey(int32_t product) {
  char *key = SMProductIDToSID(product);
  std::string text = key != nullptr ? key : "";
  SMFreeMem(key);
  return text;
}

struct Lookup {
  SMStatus status;
  std::string path;
};

Lookup Find(int32_t product, uint32_t type) {
  uint32_t size = 0;
  Lookup result{SMGetPathByProductIDandType(product, type, nullptr, &size), ""};
  if (result.status != SM_STATUS_SUCCESS) return result;
  std::string path(size, '\0');
  result.status = SMGetPathByProductIDandType(product, type, path.data(), &size);
  if (result.status == SM_STATUS_SUCCESS) result.path = path.c_str();
  return result;
}

std::string Explain(SMStatus status) {
  switch (status) {
    case SM_STATUS_NOT_AVAILABLE:
      return "(no value)";
    case SM_STATUS_OS_FAILURE:
      return "(not on disk)";
    default:
      return "(status " + std::to_string(status) + ")";
  }
}

class PathsCommand : public Command {
 public:
  void Configure(CLI::App &sub) override {
    sub.add_option("product", product_,
                   "a component key (tesk, vaxo, Korvane, dulo, pim7, mernex, Wexbridge) or "
                   "product number; all when left out");
    sub.add_option("type", type_,
                   "installpath, binpath, inipath, vardatapath, logpath, configtool, or the "
                   "type number; all when left out");
    sub.add_flag("--json", json_, "print a JSON list");
  }

  int Run() override {
    std::vector<int32_t> products;
    std::vector<PathType> types;
    if (product_.empty()) {
      products.assign(std::begin(kProducts), std::end(kProducts));
    } else if (int32_t product = ProductOf(product_); product != 0) {
      products.push_back(product);
    } else {
      Complain("unknown product \"" + product_ + "\"");
      return kExitBadInput;
    }
    if (type_.empty()) {
      types.assign(std::begin(kPathTypes), std::end(kPathTypes));
    } else if (const PathType *type = TypeOf(type_)) {
      types.push_back(*type);
    } else {
      Complain("unknown path type \"" + type_ + "\"");
      return kExitBadInput;
    }

    Json list = Json::array();
    bool all_found = true;
    for (int32_t product : products) {
      const std::string component = ComponentKey(product);
      for (const PathType &type : types) {
        const Lookup lookup = Find(product, type.type);
        all_found = all_found && lookup.status == SM_STATUS_SUCCESS;
        if (json_) {
          list.push_back(
              Json{{"product", product},
                   {"component", component},
                   {"type", type.word},
                   {"path", lookup.status == SM_STATUS_SUCCESS ? Json(lookup.path) : Json()},
                   {"status", lookup.status}});
        } else {
          std::cout << component << "." << type.word << "  "
                    << (lookup.status == SM_STATUS_SUCCESS ? lookup.path : Explain(lookup.status))
                    << '\n';
        }
      }
    }
    if (json_) std::cout << list.dump(2) << '\n';
    // One path asked for and not given out: not found.
    return products.size() == 1 && types.size() == 1 && !all_found ? kExitNotFound : kExitOk;
  }

 private:
  static int32_t ProductOf(const std::string &text) {
    if (int32_t product = SMProductSIDToID(text.c_str()); product != 0) return product;
    char *end = nullptr;
    long number = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0') return 0;
    for (int32_t product : kProducts) {
      if (product == number) return product;
    }
    return 0;
  }
  static const PathType *TypeOf(const std::string &text) {
    for (const PathType &type : kPathTypes) {
      if (text == type.word || text == std::to_string(type.type)) return &type;
    }
    return nullptr;
  }

  std::string product_, type_;
  bool json_ = false;
};

}  // namespace

KXSUPT_COMMAND(PathsCommand, "paths", "show the product registry's paths as the library sees them");

}  // namespace kxtool
