// The network module's place in the attach chain and what its functions do
// while it is down: in this process by detaching it, and end to end in a
// plain C client whose load-time attach finds no product registry (every
// network function answers 17) or one in a temporary directory (they work).
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "kxsupt/net.h"
#include "net/module.h"

namespace {

TEST(NetworkAttach, every_function_answers_17_while_the_module_is_down_and_touches_nothing) {
  const bool was_up = kx::net::NetworkUp();
  kx::net::NetworkDetach();
  kx::net::NetworkDetach();  // detaching a module that is down is harmless
  char text[64] = "untouched";
  uint16_t wide[64];
  uint32_t size = sizeof text, count = 2, address = 7;
  char slots[2][16];
  SMInetAddrStr records[2];
  uint8_t binary[16] = {};
  const std::vector<std::function<uint32_t()>> calls = {
      [&] { return SMGetIPHostName(text, &size); },
      [&] { return SMUCS2GetIPHostName(wide, &size); },
      [&] { return SMGetDNSSuffixNameName(text, &size); },
      [&] { return SMGetIPAddrStrList(nullptr, &count, slots); },
      [&] { return SMGetInetAddrStrList(0, &count, records); },
      [&] { return SMIPAddrASCIIToNetwork("10.0.0.1", &address); },
      [&] { return SMIPAddrNetworkToASCII(0, text, &size); },
      [&] { return SMInetAddrUTF8ToNetwork(1, "10.0.0.1", binary, &size); },
      [&] { return SMInetAddrNetworkToUTF8(1, binary, 4, text, &size); },
      // Not even missing arguments are looked at.
      [&] { return SMGetIPHostName(nullptr, nullptr); },
      [&] { return SMGetInetAddrStrList(9, nullptr, nullptr); },
  };
  for (size_t i = 0; i < calls.size(); ++i) EXPECT_EQ(calls[i](), SM_STATUS_NOT_READY) << i;
  EXPECT_STREQ(text, "untouched");
  EXPECT_EQ(size, sizeof text);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(address, 7u);
  // Attach raises the flag; a second attach finds it raised.
  EXPECT_EQ(kx::net::NetworkAttach(), 1);
  EXPECT_EQ(kx::net::NetworkAttach(), 1);
  EXPECT_EQ(calls[5](), 0u);
  if (!was_up) kx::net::NetworkDetach();
}

// Runs the C client with KXSUPT_REGISTRY_FILE set to `registry`; its lines
// by function name, each the fields after the name.
std::map<std::string, std::vector<std::string>> RunProbe(const std::string &registry,
                                                         const std::string &scratch) {
  const std::string out_path = scratch + "/probe.out";
  std::fflush(nullptr);  // nothing buffered may be written twice
  const pid_t child = fork();
  if (child == 0) {
    setenv("KXSUPT_REGISTRY_FILE", registry.c_str(), 1);
    if (std::freopen(out_path.c_str(), "w", stdout) == nullptr) _exit(126);
    execl(KXSUPT_NET_PROBE_PATH, KXSUPT_NET_PROBE_PATH, static_cast<char *>(nullptr));
    _exit(127);
  }
  int raw = 0;
  EXPECT_EQ(waitpid(child, &raw, 0), child);
  EXPECT_TRUE(WIFEXITED(raw) && WEXITSTATUS(raw) == 0);
  std::map<std::string, std::vector<std::string>> lines;
  std::ifstream in(out_path);
  for (std::string line; std::getline(in, line);) {
    std::istringstream fields(line);
    std::string name, field;
    fields >> name;
    while (fields >> field) lines[name].push_back(field);
  }
  EXPECT_EQ(lines.size(), 9u);
  return lines;
}

class Probe : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/kxsupt-net-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string dir_;
};

TEST_F(Probe, without_a_product_registry_every_network_function_answers_17) {
  for (const auto &[name, fields] : RunProbe(dir_ + "/no-such-registry.cfg", dir_)) {
    EXPECT_EQ(fields.front(), "17") << name;
  }
}

TEST_F(Probe, with_a_product_registry_the_network_functions_work) {
  const std::string registry = dir_ + "/vqreg.cfg";
  // The IPC layer (step 4, after the network's) needs a data directory.
  std::ofstream(registry) << "Wexbridge.installpath=" << dir_ << "\nWexbridge.logpath=" << dir_
                          << "\nmernex.vardatapath=" << dir_ << "\n";
  const auto lines = RunProbe(registry, dir_);
  for (const auto &[name, fields] : lines) EXPECT_NE(fields.front(), "17") << name;
  utsname names;
  ASSERT_EQ(uname(&names), 0);
  using Fields = std::vector<std::string>;
  EXPECT_EQ(lines.at("SMGetIPHostName"), (Fields{"0", names.nodename}));
  EXPECT_EQ(lines.at("SMIPAddrASCIIToNetwork"), (Fields{"0", "0a01a8c0"}));  // 192.168.1.10
  EXPECT_EQ(lines.at("SMIPAddrNetworkToASCII"), (Fields{"0", "127.0.0.1"}));
  EXPECT_EQ(lines.at("SMInetAddrUTF8ToNetwork"), (Fields{"0", "1"}));
  EXPECT_EQ(lines.at("SMInetAddrNetworkToUTF8"), (Fields{"0", "::1"}));
}

}  // namespace
