// kxsupt net addrs|hostname: the host's interface addresses and host name as
// the library's network functions report them. Those functions need the
// library's modules, which come up only when the product registry is found:
// without it the command says so and exits 1, as for a missing file.
#include <kxsupt.h>

#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "command.h"

namespace kxtool {

namespace {

using Json = nlohmann::ordered_json;

// Reports a failed network call; the exit status for it.
int Failed(const std::string &what, SMStatus status) {
  if (status == SM_STATUS_NOT_READY) {
    Complain(what +
             ": the library's network module is not attached (no product registry was "
             "found; set KXSUPT_REGISTRY_FILE to name one)");
    return kExitNotFound;
  }
  std::string reason = "status " + std::to_string(status);
  if (status == SM_STATUS_ERROR) reason += " (a system call failed; listing needs CAP_NET_RAW)";
  Complain(what + ": " + reason);
  return kExitBadInput;
}

class NetCommand : public Command {
 public:
  void Configure(CLI::App &sub) override {
    sub.require_subcommand(1);
    addrs_ = sub.add_subcommand("addrs", "list the host's interface addresses, IPv4 first");
    CLI::Option *ipv4 = addrs_->add_flag("--ipv4", ipv4_, "IPv4 addresses only");
    CLI::Option *ipv6 = addrs_->add_flag("--ipv6", ipv6_, "IPv6 addresses only");
    ipv4->excludes(ipv6);
    addrs_->add_flag("--json", json_, "write a JSON array of {\"family\", \"address\"}");
    sub.add_subcommand("hostname", "print the host name");
  }

  int Run() override { return addrs_->parsed() ? Addresses() : HostName(); }

 private:
  int Addresses() {
    const uint32_t mode = ipv4_   ? SM_NET_ADDR_IPV4_ONLY
                          : ipv6_ ? SM_NET_ADDR_IPV6_ONLY
                                  : SM_NET_ADDR_ALL;
    std::vector<SMInetAddrStr> records;
    uint32_t count = 0;
    // Measure, then list; interfaces may come and go in between, and with both
    // families the status alone does not tell that some did not fit.
    for (int attempt = 0; attempt < 4; ++attempt) {
      records.resize(count + 4);
      count = static_cast<uint32_t>(records.size());
      const SMStatus status = SMGetInetAddrStrList(mode, &count, records.data());
      if (status != SM_STATUS_SUCCESS && status != SM_STATUS_BUFFER_TOO_SMALL) {
        return Failed("listing addresses", status);
      }
      if (count <= records.size()) break;
    }
    records.resize(std::min<size_t>(count, records.size()));
    if (json_) {
      Json list = Json::array();
      for (const SMInetAddrStr &record : records) {
        list.push_back({{"family", record.family == SM_NET_FAMILY_IPV4 ? "ipv4" : "ipv6"},
                        {"address", record.text}});
      }
      std::cout << list.dump(2) << '\n';
    } else {
      for (const SMInetAddrStr &record : records) std::cout << record.text << '\n';
    }
    return kExitOk;
  }

  int HostName() {
    char name[256];
    uint32_t size = sizeof name;
    const SMStatus status = SMGetIPHostName(name, &size);
    if (status != SM_STATUS_SUCCESS) return Failed("reading the host name", status);
    std::cout << name << '\n';
    return kExitOk;
  }

  CLI::App *addrs_ = nullptr;
  bool ipv4_ = false;
  bool ipv6_ = false;
  bool json_ = false;
};

}  // namespace

KXSUPT_COMMAND(NetCommand, "net", "the host's interface addresses and host name");

}  // namespace kxtool
