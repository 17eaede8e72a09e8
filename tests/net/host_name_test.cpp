// Host name and DNS suffix. The name is checked against uname at every room
// size; names and resolver answers that this machine does not have are made
// in a child with its own host name, network and mount namespaces, where a
// private hosts file is mounted over the system's.
#include <netdb.h>
#include <sys/mount.h>
#include <sys/utsname.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "kxsupt/net.h"
#include "net_test_support.h"

namespace {

using HostName = kx_net_test::NetModuleTest;

std::string NodeName() {
  utsname names;
  EXPECT_EQ(uname(&names), 0);
  return names.nodename;
}

std::vector<uint16_t> Widened(const std::string &ascii) {
  std::vector<uint16_t> units(ascii.begin(), ascii.end());
  units.push_back(0);
  return units;
}

// The byte form at every room from 0 to past the name: cut to room - 1 bytes
// and NUL-terminated, never written past the room.
void CheckByteNameAtEveryRoom(const std::string &name) {
  for (uint32_t room = 0; room <= name.size() + 3; ++room) {
    std::vector<char> buf(room + 1, '#');
    uint32_t size = room;
    const uint32_t status = SMGetIPHostName(buf.data(), &size);
    if (room == 0) {
      EXPECT_EQ(status, SM_STATUS_BUFFER_TOO_SMALL);
      EXPECT_EQ(size, name.size() + 1);
      EXPECT_EQ(buf[0], '#');
      continue;
    }
    const std::string expected = name.substr(0, room - 1);
    EXPECT_EQ(status, 0u) << room;
    EXPECT_EQ(std::string(buf.data()), expected) << room;
    EXPECT_EQ(size, expected.size() + 1) << room;
    EXPECT_EQ(buf[room], '#') << room;
  }
}

// The UCS-2 form: the name cut to 63 bytes, measured, converted, refused
// when the room is short.
void CheckUcs2Name(const std::string &name) {
  const std::vector<uint16_t> expected = Widened(name.substr(0, 63));
  const uint32_t bytes = static_cast<uint32_t>(2 * expected.size());
  uint32_t size = 0;
  EXPECT_EQ(SMUCS2GetIPHostName(nullptr, &size), 0u);
  EXPECT_EQ(size, bytes);
  std::vector<uint16_t> buf(expected.size() + 4, 0xAAAA);
  size = static_cast<uint32_t>(2 * buf.size());
  EXPECT_EQ(SMUCS2GetIPHostName(buf.data(), &size), 0u);
  EXPECT_EQ(size, bytes);
  EXPECT_EQ(std::vector<uint16_t>(buf.begin(), buf.begin() + expected.size()), expected);
  size = bytes - 1;
  EXPECT_EQ(SMUCS2GetIPHostName(buf.data(), &size), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, bytes - 1);
}

// The suffix as the resolver's canonical name gives it, or nothing when the
// name does not resolve: an oracle through getaddrinfo.
bool OracleSuffix(const std::string &host, std::string *suffix) {
  addrinfo hints{};
  hints.ai_flags = AI_CANONNAME;
  addrinfo *result = nullptr;
  if (getaddrinfo(host.c_str(), nullptr, &hints, &result) != 0) return false;
  const std::string canonical = result->ai_canonname != nullptr ? result->ai_canonname : host;
  freeaddrinfo(result);
  const size_t dot = canonical.find('.');
  *suffix = dot == std::string::npos ? "" : canonical.substr(dot + 1);
  return true;
}

void CheckSuffix(const std::string &expected) {
  const uint32_t needed = static_cast<uint32_t>(expected.size() + 1);
  uint32_t size = 0;
  EXPECT_EQ(SMGetDNSSuffixNameName(nullptr, &size), 0u);
  EXPECT_EQ(size, needed);
  std::vector<char> buf(needed + 1, '#');
  size = needed;
  EXPECT_EQ(SMGetDNSSuffixNameName(buf.data(), &size), 0u);
  EXPECT_EQ(std::string(buf.data()), expected);
  EXPECT_EQ(size, needed);
  EXPECT_EQ(buf[needed], '#');
  size = needed - 1;
  std::fill(buf.begin(), buf.end(), '#');
  EXPECT_EQ(SMGetDNSSuffixNameName(buf.data(), &size), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, needed);
  EXPECT_EQ(buf[0], '#');
}

// The suffix of `host` as the resolver oracle sees it, or a failed lookup
// that leaves the size alone.
void CheckSuffixAgainstResolver(const std::string &host) {
  std::string expected;
  if (OracleSuffix(host, &expected)) return CheckSuffix(expected);
  uint32_t size = 5;
  EXPECT_EQ(SMGetDNSSuffixNameName(nullptr, &size), SM_STATUS_ERROR);
  EXPECT_EQ(size, 5u);
}

TEST_F(HostName, names_and_suffix_of_this_host_agree_with_uname_and_the_resolver) {
  CheckByteNameAtEveryRoom(NodeName());
  CheckUcs2Name(NodeName());
  CheckSuffixAgainstResolver(NodeName());
  char buf[8];
  uint32_t size = sizeof buf;
  EXPECT_EQ(SMGetIPHostName(nullptr, &size), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMGetIPHostName(buf, nullptr), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMUCS2GetIPHostName(nullptr, nullptr), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMGetDNSSuffixNameName(buf, nullptr), SM_STATUS_INVALID_ARGS);
}

// Mounts `hosts` over /etc/hosts in the child's own mount namespace; the
// system's file is not touched.
bool MountPrivateHosts(const std::string &hosts) {
  return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount(hosts.c_str(), "/etc/hosts", nullptr, MS_BIND, nullptr) == 0;
}

TEST_F(HostName, names_and_suffixes_in_a_private_host) {
  char tmpl[] = "/tmp/kxsupt-net-XXXXXX";
  ASSERT_NE(mkdtemp(tmpl), nullptr);
  const std::string dir = tmpl;
  const std::string hosts = dir + "/hosts";
  std::ofstream(hosts) << "127.0.0.1 localhost\n"
                       << "192.0.2.77 node7.lab.example node7\n"
                       << "192.0.2.78 solo\n"
                       << "192.0.2.79 deep.a.b.c.example deep\n";
  std::string skip;
  const int status = kx_net_test::RunInNewNamespaces(
      CLONE_NEWUTS | CLONE_NEWNET | CLONE_NEWNS,
      [&] {
        if (!MountPrivateHosts(hosts))
          kx_net_test::SkipInChild("cannot mount a private hosts file");
        const struct {
          std::string name;
          const char *suffix;  // null: whatever the resolver says (nothing, here)
        } cases[] = {{"node7", "lab.example"},
                     {"solo", ""},
                     {"deep", "a.b.c.example"},  // everything after the first dot
                     {"kx-nowhere-host", nullptr},
                     {std::string(64, 'h'), nullptr}};  // UCS-2 form cut to 63
        for (const auto &c : cases) {
          SCOPED_TRACE(c.name);
          ASSERT_EQ(sethostname(c.name.data(), c.name.size()), 0);
          CheckByteNameAtEveryRoom(c.name);
          CheckUcs2Name(c.name);
          if (c.suffix != nullptr) {
            CheckSuffix(c.suffix);
          } else {
            CheckSuffixAgainstResolver(c.name);
          }
        }
      },
      &skip);
  std::filesystem::remove_all(dir);
  if (!skip.empty()) GTEST_SKIP() << skip;
  EXPECT_EQ(status, 0);
}

}  // namespace
