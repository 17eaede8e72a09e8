// net addrs and net hostname, end to end: against uname and getifaddrs on this
// machine, against known addresses in a private network namespace (as root),
// and without a product registry, when the library's network functions are
// down.
#include <sys/utsname.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/net/net_test_support.h"
#include "tool_runner.h"

namespace {

using kx_net_test::OracleAddresses;
using kx_net_test::Sorted;
using kxtest::RunTool;
using kxtest::TempDir;

std::vector<std::string> Lines(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// Points the tool at a product registry in a temporary directory (or at a
// missing file), restoring the environment afterwards.
class NetCommands : public ::testing::Test {
 protected:
  void SetUp() override {
    if (const char *previous = std::getenv("KXSUPT_REGISTRY_FILE")) previous_ = previous;
    // The IPC layer (attach step 4) needs a data directory.
    UseRegistry(dir_.Write("vqreg.cfg", "Wexbridge.installpath=" + dir_.path() +
                                            "\nmernex.vardatapath=" + dir_.path() + "\n"));
  }
  void TearDown() override {
    if (previous_.empty()) {
      unsetenv("KXSUPT_REGISTRY_FILE");
    } else {
      setenv("KXSUPT_REGISTRY_FILE", previous_.c_str(), 1);
    }
  }
  static void UseRegistry(const std::string &path) {
    setenv("KXSUPT_REGISTRY_FILE", path.c_str(), 1);
  }

  TempDir dir_;
  std::string previous_;
};

TEST_F(NetCommands, hostname_prints_the_node_name) {
  utsname names;
  ASSERT_EQ(uname(&names), 0);
  const auto result = RunTool({"net", "hostname"});
  EXPECT_EQ(result.exit_status, 0) << result.err;
  EXPECT_EQ(result.out, std::string(names.nodename) + "\n");
}

TEST_F(NetCommands, addrs_agree_with_getifaddrs_in_text_and_json) {
  if (!kx_net_test::PacketSocketsAllowed()) {
    const auto result = RunTool({"net", "addrs"});
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_EQ(result.err.rfind("kxsupt: listing addresses: status 4294967295", 0), 0u);
    GTEST_SKIP() << "no packet-socket privilege: only the failure was checked";
  }
  const std::vector<std::string> v4 = OracleAddresses(AF_INET);
  const std::vector<std::string> v6 = OracleAddresses(AF_INET6);
  const auto all = RunTool({"net", "addrs"});
  ASSERT_EQ(all.exit_status, 0) << all.err;
  const std::vector<std::string> lines = Lines(all.out);
  ASSERT_EQ(lines.size(), v4.size() + v6.size());
  EXPECT_EQ(Sorted({lines.begin(), lines.begin() + v4.size()}), v4);  // IPv4 first
  EXPECT_EQ(Sorted({lines.begin() + v4.size(), lines.end()}), v6);
  EXPECT_EQ(Sorted(Lines(RunTool({"net", "addrs", "--ipv4"}).out)), v4);
  EXPECT_EQ(Sorted(Lines(RunTool({"net", "addrs", "--ipv6"}).out)), v6);

  const auto json = RunTool({"net", "addrs", "--json"});
  ASSERT_EQ(json.exit_status, 0) << json.err;
  const auto parsed = nlohmann::json::parse(json.out);
  ASSERT_TRUE(parsed.is_array());
  ASSERT_EQ(parsed.size(), lines.size());
  for (size_t i = 0; i < parsed.size(); ++i) {
    EXPECT_EQ(parsed[i]["family"], i < v4.size() ? "ipv4" : "ipv6");
    EXPECT_EQ(parsed[i]["address"], lines[i]);
  }
  const auto json_v6 = RunTool({"net", "addrs", "--ipv6", "--json"});
  EXPECT_EQ(nlohmann::json::parse(json_v6.out).size(), v6.size());
}

TEST_F(NetCommands, addrs_in_a_private_namespace_list_exactly_its_addresses) {
  if (!kx_net_test::IpAvailable()) GTEST_SKIP() << "iproute2's ip is not installed";
  std::string skip;
  const int status = kx_net_test::RunInNewNamespaces(
      CLONE_NEWNET,
      [] {
        using kx_net_test::Ip;
        ASSERT_TRUE(Ip("link set lo up"));
        if (!kx_net_test::TryIp("link add kxa type veth peer name kxb")) {
          kx_net_test::SkipInChild("veth interfaces cannot be created");
        }
        ASSERT_TRUE(Ip("link set kxa addrgenmode none"));
        ASSERT_TRUE(Ip("link set kxb addrgenmode none"));
        ASSERT_TRUE(Ip("addr add 10.50.0.1/24 dev kxa"));
        ASSERT_TRUE(Ip("addr add 10.50.0.2/24 dev kxb"));
        for (const char *address : {"fe80::5", "fec0::5", "2001:db8:5::1"}) {
          ASSERT_TRUE(Ip(std::string("-6 addr add ") + address + "/64 dev kxa nodad"));
        }
        ASSERT_TRUE(Ip("link set kxa up"));
        ASSERT_TRUE(Ip("link set kxb up"));
        ASSERT_TRUE(kx_net_test::WaitUntilRunning("kxa"));
        ASSERT_TRUE(kx_net_test::WaitUntilRunning("kxb"));
        const auto v4 = RunTool({"net", "addrs", "--ipv4"});
        EXPECT_EQ(v4.exit_status, 0) << v4.err;
        EXPECT_EQ(Sorted(Lines(v4.out)), (std::vector<std::string>{"10.50.0.1", "10.50.0.2"}));
        // Global, then site-local, then link-local.
        const auto v6 = RunTool({"net", "addrs", "--ipv6"});
        EXPECT_EQ(v6.out, "2001:db8:5::1\nfec0::5\nfe80::5\n");
        const auto json = RunTool({"net", "addrs", "--json"});
        const auto parsed = nlohmann::json::parse(json.out);
        ASSERT_EQ(parsed.size(), 5u);
        EXPECT_EQ(parsed[2], (nlohmann::json{{"family", "ipv6"}, {"address", "2001:db8:5::1"}}));
      },
      &skip);
  if (!skip.empty()) GTEST_SKIP() << skip;
  EXPECT_EQ(status, 0) << "the namespace child reported failures (see above)";
}

TEST_F(NetCommands, without_a_product_registry_both_commands_exit_1) {
  UseRegistry(dir_.path() + "/no-such-registry.cfg");
  for (auto args : {std::vector<std::string>{"net", "hostname"},
                    std::vector<std::string>{"net", "addrs", "--json"}}) {
    const auto result = RunTool(args);
    EXPECT_EQ(result.exit_status, 1) << args[1];
    EXPECT_TRUE(result.out.empty());
    EXPECT_EQ(result.err.rfind("kxsupt: ", 0), 0u);
    EXPECT_NE(result.err.find("network module is not attached"), std::string::npos) << result.err;
  }
}

TEST_F(NetCommands, bad_usage_exits_2) {
  for (auto args : {std::vector<std::string>{"net"},
                    std::vector<std::string>{"net", "addrs", "--ipv4", "--ipv6"},
                    std::vector<std::string>{"net", "hostname", "extra"},
                    std::vector<std::string>{"net", "nothing"}}) {
    const auto result = RunTool(args);
    EXPECT_EQ(result.exit_status, 2) << args.back();
    EXPECT_EQ(result.err.rfind("kxsupt: ", 0), 0u) << result.err;
  }
}

}  // namespace
