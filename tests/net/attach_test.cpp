// The network module's place in the attach chain and what its functions do
// while it is down: in this process by detaching it, and end to end in a
// plain C client whose load-time attach finds no product registry (every
// network function answers 17) or a registry in a temporary directory (they
// work).
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "frame/modules.h"
#include "kxsupt/net.h"
#include "net/module.h"

namespace {

constexpr const char *kNetworkFunctions[] = {
    "SMGetIPHostName",        "SMUCS2GetIPHostName",     "SMGetDNSSuffixNameName",
    "SMGetIPAddrStrList",     "SMGetInetAddrStrList",    "SMIPAddrASCIIToNetwork",
    "SMIPAddrNetworkToASCII", "SMInetAddrUTF8ToNetwork", "SMInetAddrNetworkToUTF8",
};

TEST(NetworkAttach, network_step_follows_the_product_registry_in_the_chain) {
  const auto chain = kx::frame::ModuleChain();
  ASSERT_GE(chain.size(), 2u);
  EXPECT_STREQ(chain[0].name, "product registry");
  size_t at = chain.size();
  for (size_t i = 0; i < chain.size(); ++i) {
    if (std::strcmp(chain[i].name, "network addresses") == 0) at = i;
  }
  ASSERT_LT(at, chain.size());
  // Only the install paths step may come between the registry and this one.
  EXPECT_LE(at, 2u);
  EXPECT_EQ(chain[at].attach, &kx::net::NetworkAttach);
  EXPECT_EQ(chain[at].detach, &kx::net::NetworkDetach);
}

// Every network function, called with valid arguments, with its status.
std::map<std::string, uint32_t> CallEveryFunction(char *text, uint32_t *size) {
  std::map<std::string, uint32_t> statuses;
  uint16_t wide[64];
  uint32_t count = 2;
  char slots[2][16];
  SMInetAddrStr records[2];
  uint32_t address = 0x5A5A5A5A;
  uint8_t binary[16] = {};
  statuses["SMGetIPHostName"] = SMGetIPHostName(text, size);
  statuses["SMUCS2GetIPHostName"] = SMUCS2GetIPHostName(wide, size);
  statuses["SMGetDNSSuffixNameName"] = SMGetDNSSuffixNameName(text, size);
  statuses["SMGetIPAddrStrList"] = SMGetIPAddrStrList(nullptr, &count, slots);
  statuses["SMGetInetAddrStrList"] = SMGetInetAddrStrList(0, &count, records);
  statuses["SMIPAddrASCIIToNetwork"] = SMIPAddrASCIIToNetwork("10.0.0.1", &address);
  statuses["SMIPAddrNetworkToASCII"] = SMIPAddrNetworkToASCII(0, text, size);
  statuses["SMInetAddrUTF8ToNetwork"] = SMInetAddrUTF8ToNetwork(1, "10.0.0.1", binary, size);
  statuses["SMInetAddrNetworkToUTF8"] = SMInetAddrNetworkToUTF8(1, binary, 4, text, size);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(address, 0x5A5A5A5Au);
  return statuses;
}

TEST(NetworkAttach, every_function_answers_17_while_the_module_is_down_and_touches_nothing) {
  const bool was_up = kx::net::NetworkUp();
  kx::net::NetworkDetach();
  kx::net::NetworkDetach();  // detaching a module that is down is harmless
  char text[64] = "untouched";
  uint32_t size = sizeof text;
  const auto statuses = CallEveryFunction(text, &size);
  EXPECT_EQ(statuses.size(), std::size(kNetworkFunctions));
  for (const auto &[name, status] : statuses) EXPECT_EQ(status, SM_STATUS_NOT_READY) << name;
  EXPECT_STREQ(text, "untouched");
  EXPECT_EQ(size, sizeof text);
  // Even missing arguments are not looked at while the module is down.
  EXPECT_EQ(SMGetIPHostName(nullptr, nullptr), SM_STATUS_NOT_READY);
  EXPECT_EQ(SMGetInetAddrStrList(9, nullptr, nullptr), SM_STATUS_NOT_READY);

  // A second attach finds the flag raised and does nothing more.
  EXPECT_EQ(kx::net::NetworkAttach(), 1);
  EXPECT_EQ(kx::net::NetworkAttach(), 1);
  EXPECT_TRUE(kx::net::NetworkUp());
  uint32_t address = 0;
  EXPECT_EQ(SMIPAddrASCIIToNetwork("127.0.0.1", &address), 0u);
  if (!was_up) kx::net::NetworkDetach();
}

struct ProbeRun {
  int exit_status = -1;
  std::map<std::string, std::vector<std::string>> lines;  // function -> fields after its name
};

// Runs the C client with KXSUPT_REGISTRY_FILE set to `registry`.
ProbeRun RunProbe(const std::string &registry, const std::string &scratch) {
  const std::string out_path = scratch + "/probe.out";
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    setenv("KXSUPT_REGISTRY_FILE", registry.c_str(), 1);
    if (std::freopen(out_path.c_str(), "w", stdout) == nullptr) _exit(126);
    execl(KXSUPT_NET_PROBE_PATH, KXSUPT_NET_PROBE_PATH, static_cast<char *>(nullptr));
    _exit(127);
  }
  ProbeRun run;
  int raw = 0;
  EXPECT_EQ(waitpid(child, &raw, 0), child);
  run.exit_status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
  std::ifstream in(out_path);
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string name, field;
    fields >> name;
    while (fields >> field) run.lines[name].push_back(field);
  }
  return run;
}

class ProbeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/kxsupt-net-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string dir_;
};

TEST_F(ProbeTest, without_a_product_registry_every_network_function_answers_17) {
  const ProbeRun run = RunProbe(dir_ + "/no-such-registry.cfg", dir_);
  ASSERT_EQ(run.exit_status, 0);
  ASSERT_EQ(run.lines.size(), std::size(kNetworkFunctions));
  for (const char *name : kNetworkFunctions) {
    ASSERT_EQ(run.lines.count(name), 1u) << name;
    EXPECT_EQ(run.lines.at(name).front(), "17") << name;
  }
}

TEST_F(ProbeTest, with_a_product_registry_the_network_functions_work) {
  const std::string registry = dir_ + "/vqreg.cfg";
  std::ofstream(registry) << "; sandbox registry\n"
                          << "Wexbridge.installpath=" << dir_ << "\n"
                          << "Wexbridge.logpath=" << dir_ << "\n";
  const ProbeRun run = RunProbe(registry, dir_);
  ASSERT_EQ(run.exit_status, 0);
  ASSERT_EQ(run.lines.size(), std::size(kNetworkFunctions));
  for (const char *name : kNetworkFunctions) {
    ASSERT_EQ(run.lines.count(name), 1u) << name;
    EXPECT_NE(run.lines.at(name).front(), "17") << name;
  }
  utsname names;
  ASSERT_EQ(uname(&names), 0);
  EXPECT_EQ(run.lines.at("SMGetIPHostName"), (std::vector<std::string>{"0", names.nodename}));
  EXPECT_EQ(run.lines.at("SMUCS2GetIPHostName"), std::vector<std::string>{"0"});
  EXPECT_EQ(run.lines.at("SMIPAddrASCIIToNetwork"),
            (std::vector<std::string>{"0", "0a01a8c0"}));  // 192.168.1.10, bytes in memory order
  EXPECT_EQ(run.lines.at("SMIPAddrNetworkToASCII"), (std::vector<std::string>{"0", "127.0.0.1"}));
  EXPECT_EQ(run.lines.at("SMInetAddrUTF8ToNetwork"), (std::vector<std::string>{"0", "1"}));
  EXPECT_EQ(run.lines.at("SMInetAddrNetworkToUTF8"), (std::vector<std::string>{"0", "::1"}));
}

}  // namespace
