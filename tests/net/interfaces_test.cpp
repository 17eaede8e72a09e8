// Interface address lists. On this machine the lists are compared with
// getifaddrs, whatever interfaces it has; in a child with its own network
// namespace (as root) they are compared with interfaces and addresses the
// test makes: filters, the IPv4 list's growth past its first buffer, the IPv6
// passes, counts and statuses at every capacity.
#include <fcntl.h>
#include <linux/if_tun.h>
#include <sys/ioctl.h>

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "kxsupt/net.h"
#include "net_test_support.h"

namespace {

using kx_net_test::Ip;
using kx_net_test::OracleAddresses;
using kx_net_test::Sorted;

using Interfaces = kx_net_test::NetModuleTest;

struct Listing {
  uint32_t status = 0;
  uint32_t count = 0;
  std::vector<std::string> texts;  // the records or slots filled
  std::vector<uint16_t> families;
};

Listing IPv4Slots(uint32_t capacity) {
  std::vector<std::array<char, 16>> slots(capacity + 1);
  for (auto &slot : slots) slot.fill('#');
  Listing out;
  out.count = capacity;
  out.status = SMGetIPAddrStrList(nullptr, &out.count, reinterpret_cast<char(*)[16]>(slots.data()));
  for (uint32_t i = 0; i < std::min(out.count, capacity); ++i) {
    EXPECT_NE(std::memchr(slots[i].data(), 0, 16), nullptr);
    out.texts.emplace_back(slots[i].data());
  }
  EXPECT_EQ(slots[capacity][0], '#') << "wrote past the capacity";
  return out;
}

Listing Records(uint32_t mode, uint32_t capacity) {
  std::vector<SMInetAddrStr> records(capacity + 1);
  std::memset(records.data(), '#', records.size() * sizeof(SMInetAddrStr));
  Listing out;
  out.count = capacity;
  out.status = SMGetInetAddrStrList(mode, &out.count, records.data());
  for (uint32_t i = 0; i < std::min(out.count, capacity); ++i) {
    EXPECT_EQ(records[i].reserved, 0u);
    EXPECT_NE(std::memchr(records[i].text, 0, sizeof records[i].text), nullptr);
    out.texts.emplace_back(records[i].text);
    out.families.push_back(records[i].family);
  }
  EXPECT_EQ(records[capacity].text[0], '#') << "wrote past the capacity";
  return out;
}

// The listing pass of an IPv6 address: 0 outside fe80::/9, 1 in fec0::/10,
// 2 in fe80::/10 (the two /10s make up the /9).
int PassOf(const std::string &text) {
  uint8_t bytes[16];
  EXPECT_EQ(inet_pton(AF_INET6, text.c_str(), bytes), 1) << text;
  const unsigned top10 = (bytes[0] << 2) | (bytes[1] >> 6);
  if (top10 == 0x3FB) return 1;  // 1111 1110 11
  if (top10 == 0x3FA) return 2;  // 1111 1110 10
  return 0;
}

// IPv6 texts are listed pass by pass, each pass in the order of the kernel's
// table.
void ExpectListingOrder(const std::vector<std::string> &listed) {
  const std::vector<std::string> file = kx_net_test::Inet6FileOrder();
  std::vector<std::string> expected;
  for (int pass = 0; pass < 3; ++pass) {
    for (const std::string &text : file) {
      if (PassOf(text) == pass && std::find(listed.begin(), listed.end(), text) != listed.end()) {
        expected.push_back(text);
      }
    }
  }
  EXPECT_EQ(listed, expected);
}

std::vector<std::string> Slice(const std::vector<std::string> &texts, size_t from, size_t to) {
  return {texts.begin() + from, texts.begin() + std::min(to, texts.size())};
}

// Every check of the lists against the interfaces present: getifaddrs for the
// sets, the table for the IPv6 order, and counts, statuses and contents at
// every capacity up to one past the total.
void CheckListsAgainstOracle() {
  const std::vector<std::string> v4 = OracleAddresses(AF_INET);
  const std::vector<std::string> v6 = OracleAddresses(AF_INET6);
  const auto n4 = static_cast<uint32_t>(v4.size());
  const auto n6 = static_cast<uint32_t>(v6.size());

  const Listing slots = IPv4Slots(n4 + 2);
  EXPECT_EQ(slots.status, 0u);
  EXPECT_EQ(Sorted(slots.texts), v4);
  const Listing all = Records(SM_NET_ADDR_ALL, n4 + n6 + 2);
  ASSERT_EQ(all.status, 0u);
  ASSERT_EQ(all.count, n4 + n6);
  EXPECT_EQ(all.families, [&] {
    std::vector<uint16_t> families(n4, SM_NET_FAMILY_IPV4);
    families.insert(families.end(), n6, SM_NET_FAMILY_IPV6);
    return families;
  }());
  EXPECT_EQ(Slice(all.texts, 0, n4), slots.texts);
  EXPECT_EQ(Sorted(Slice(all.texts, n4, n4 + n6)), v6);
  ExpectListingOrder(Slice(all.texts, n4, n4 + n6));
  EXPECT_EQ(Records(SM_NET_ADDR_IPV4_ONLY, n4).texts, slots.texts);
  EXPECT_EQ(Records(SM_NET_ADDR_IPV6_ONLY, n6).texts, Slice(all.texts, n4, n4 + n6));

  // Counting alone.
  uint32_t count = 0;
  EXPECT_EQ(SMGetIPAddrStrList(nullptr, &count, nullptr), 0u);
  EXPECT_EQ(count, n4);
  for (uint32_t mode : {0u, 1u, 2u}) {
    count = 0;
    EXPECT_EQ(SMGetInetAddrStrList(mode, &count, nullptr), 0u) << mode;
    EXPECT_EQ(count, (mode != 2 ? n4 : 0) + (mode != 1 ? n6 : 0)) << mode;
  }

  // Every capacity: what fits is the prefix of the full listing; the status
  // is that of the last list made.
  for (uint32_t capacity = 0; capacity <= n4 + 1; ++capacity) {
    const Listing part = IPv4Slots(capacity);
    EXPECT_EQ(part.count, n4);
    EXPECT_EQ(part.status, capacity < n4 ? SM_STATUS_BUFFER_TOO_SMALL : 0u) << capacity;
    EXPECT_EQ(part.texts, Slice(slots.texts, 0, capacity));
  }
  for (uint32_t capacity = 0; capacity <= n4 + n6 + 1; ++capacity) {
    SCOPED_TRACE("capacity " + std::to_string(capacity));
    const Listing part = Records(SM_NET_ADDR_ALL, capacity);
    EXPECT_EQ(part.count, n4 + n6);
    EXPECT_EQ(part.status, n6 > 0 && capacity < n4 + n6 ? SM_STATUS_BUFFER_TOO_SMALL : 0u);
    EXPECT_EQ(part.texts, Slice(all.texts, 0, capacity));
    const Listing v4_part = Records(SM_NET_ADDR_IPV4_ONLY, capacity);
    EXPECT_EQ(v4_part.status, capacity < n4 ? SM_STATUS_BUFFER_TOO_SMALL : 0u);
    EXPECT_EQ(v4_part.count, n4);
    const Listing v6_part = Records(SM_NET_ADDR_IPV6_ONLY, capacity);
    EXPECT_EQ(v6_part.status, capacity < n6 ? SM_STATUS_BUFFER_TOO_SMALL : 0u);
    EXPECT_EQ(v6_part.count, n6);
  }
}

TEST_F(Interfaces, arguments_are_checked_before_anything_is_listed) {
  uint32_t count = 4;
  SMInetAddrStr records[4];
  EXPECT_EQ(SMGetInetAddrStrList(3, &count, records), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMGetInetAddrStrList(0xFFFFFFFF, &count, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(SMGetInetAddrStrList(0, nullptr, records), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMGetIPAddrStrList(nullptr, nullptr, nullptr), SM_STATUS_INVALID_ARGS);
}

TEST_F(Interfaces, lists_of_this_machine_agree_with_getifaddrs) {
  if (!kx_net_test::PacketSocketsAllowed()) {
    // Without the packet-socket privilege both lists fail as a system call.
    uint32_t count = 3;
    EXPECT_EQ(SMGetIPAddrStrList(nullptr, &count, nullptr), SM_STATUS_ERROR);
    EXPECT_EQ(SMGetInetAddrStrList(0, &count, nullptr), SM_STATUS_ERROR);
    EXPECT_EQ(SMGetInetAddrStrList(2, &count, nullptr), SM_STATUS_ERROR);
    EXPECT_EQ(count, 3u);
    GTEST_SKIP() << "no packet-socket privilege: only the failure statuses were checked";
  }
  CheckListsAgainstOracle();
}

// A tun device with a reader attached: running and point-to-point. Returns the
// descriptor that keeps it so, or -1 when tun devices are unavailable.
int OpenTun(const char *name) {
  const int fd = open("/dev/net/tun", O_RDWR | O_CLOEXEC);
  ifreq request{};
  request.ifr_flags = IFF_TUN | IFF_NO_PI;
  std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
  if (fd >= 0 && ioctl(fd, TUNSETIFF, &request) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

// Two veth pairs, kxa/kxb up and running and kxc up with its peer kxd down
// (not running), a running point-to-point tun device kxt when tun devices
// exist, no automatic IPv6 addresses: every address is one made here.
TEST_F(Interfaces, lists_in_a_private_namespace_with_known_addresses) {
  if (!kx_net_test::IpAvailable()) GTEST_SKIP() << "iproute2's ip is not installed";
  std::string skip;
  const int status = kx_net_test::RunInNewNamespaces(
      CLONE_NEWNET,
      [] {
        ASSERT_TRUE(Ip("link set lo up"));
        if (!kx_net_test::TryIp("link add kxa type veth peer name kxb")) {
          kx_net_test::SkipInChild("veth interfaces cannot be created");
        }
        ASSERT_TRUE(Ip("link add kxc type veth peer name kxd"));
        for (const char *name : {"kxa", "kxb", "kxc", "kxd"}) {
          ASSERT_TRUE(Ip(std::string("link set ") + name + " addrgenmode none"));
        }
        ASSERT_TRUE(Ip("addr add 10.20.0.1/24 dev kxa"));
        ASSERT_TRUE(Ip("addr add 10.20.1.1/24 dev kxa label kxa:1"));
        ASSERT_TRUE(Ip("addr add 10.20.0.2/24 dev kxb"));
        ASSERT_TRUE(Ip("addr add 10.30.0.1/24 dev kxc"));
        for (const char *name : {"kxa", "kxb", "kxc"}) {
          ASSERT_TRUE(Ip(std::string("link set ") + name + " up"));
        }
        ASSERT_TRUE(kx_net_test::WaitUntilRunning("kxa"));
        ASSERT_TRUE(kx_net_test::WaitUntilRunning("kxb"));
        std::vector<std::string> v4 = {"10.20.0.1", "10.20.1.1", "10.20.0.2"};
        EXPECT_EQ(Sorted(IPv4Slots(8).texts), Sorted(v4));

        // No IPv6 address yet: with both lists asked for, the IPv4 overflow is
        // hidden behind the empty IPv6 list's status; only the count tells.
        Listing listing = Records(SM_NET_ADDR_ALL, 1);
        EXPECT_EQ(listing.status, 0u);
        EXPECT_EQ(listing.count, 3u);
        EXPECT_EQ(Records(SM_NET_ADDR_IPV4_ONLY, 1).status, SM_STATUS_BUFFER_TOO_SMALL);

        // Thirty more labelled addresses: the kernel's list no longer fits the
        // first 960 bytes, so the buffer must grow.
        for (int i = 2; i < 32; ++i) {
          v4.push_back("10.21.0." + std::to_string(i));
          ASSERT_TRUE(Ip("addr add " + v4.back() + "/32 dev kxa label kxa:" + std::to_string(i)));
        }
        const int tun = OpenTun("kxt");
        if (tun >= 0) {
          ASSERT_TRUE(Ip("addr add 10.40.0.1 peer 10.40.0.2 dev kxt"));
          ASSERT_TRUE(Ip("link set kxt up"));
          ASSERT_TRUE(kx_net_test::WaitUntilRunning("kxt"));
        }
        // Added link-local first and global last, so that the order of the
        // listing cannot come from the order of creation. kxc is not running,
        // which the IPv6 list does not look at; kxb without ARP is skipped.
        for (const char *address :
             {"fe80::a", "fec0::a", "fe80::b", "2001:db8:a::1", "fec0::b", "fd00:a::1"}) {
          ASSERT_TRUE(Ip(std::string("-6 addr add ") + address + "/64 dev kxa nodad"));
        }
        ASSERT_TRUE(Ip("-6 addr add 2001:db8:c::1/64 dev kxc nodad"));
        ASSERT_TRUE(Ip("link set kxb arp off"));
        ASSERT_TRUE(Ip("-6 addr add 2001:db8:b::2/64 dev kxb nodad"));

        listing = Records(SM_NET_ADDR_ALL, 64);
        EXPECT_EQ(listing.status, 0u);
        ASSERT_EQ(listing.count, v4.size() + 7);
        EXPECT_EQ(Sorted(Slice(listing.texts, 0, v4.size())), Sorted(v4));
        const std::vector<std::string> v6 = Slice(listing.texts, v4.size(), listing.count);
        EXPECT_EQ(Sorted(v6), Sorted({"2001:db8:a::1", "fd00:a::1", "2001:db8:c::1", "fec0::a",
                                      "fec0::b", "fe80::a", "fe80::b"}));
        std::vector<int> passes;
        for (const std::string &text : v6) passes.push_back(PassOf(text));
        EXPECT_EQ(passes, (std::vector<int>{0, 0, 0, 1, 1, 2, 2}));
        CheckListsAgainstOracle();
        if (tun >= 0) close(tun);
      },
      &skip);
  if (!skip.empty()) GTEST_SKIP() << skip;
  EXPECT_EQ(status, 0) << "the namespace child reported failures (see above)";
}

}  // namespace
