// Address text to binary and back, through the exported functions: the dotted
// IPv4 reader against addresses built from their parts, and the inet_pton /
// inet_ntop pair against the C library over random addresses and every size.
#include <arpa/inet.h>

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kxsupt/net.h"
#include "net_test_support.h"

namespace {

using AddressText = kx_net_test::NetModuleTest;

constexpr uint32_t kUntouched = 0xA5A5A5A5;

uint32_t NetworkOrder(uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
  const uint8_t bytes[4] = {a, b, c, d};
  uint32_t address;
  std::memcpy(&address, bytes, 4);
  return address;
}

struct DottedCase {
  const char *text;
  uint32_t status;
  uint32_t address;  // network order; kUntouched when the output stays as it was
};

TEST_F(AddressText, dotted_reader_rules) {
  const DottedCase cases[] = {
      {"192.168.001.010", 0, NetworkOrder(192, 168, 1, 10)},
      {"010.0.00.000", 0, NetworkOrder(10, 0, 0, 0)},  // never octal; "000" keeps one zero
      {"0.0.0.0", 0, 0},
      {"255.255.255.255", 0, 0xFFFFFFFF},
      {"0XFF.0XFF.0XFF.0XFF", 0, 0xFFFFFFFF},  // the broadcast spellings, any case
      {"0xff.0xFF.0Xff.0xff", 0, 0xFFFFFFFF},
      {"300.1.1.1", SM_STATUS_ERROR, kUntouched},
      {"4294967295", SM_STATUS_ERROR, kUntouched},  // all ones, but not a broadcast spelling
      {"255.255.255.0255", SM_STATUS_ERROR, kUntouched},
      {"0x0a.1.1.1", SM_STATUS_ERROR, kUntouched},  // hexadecimal parts are refused
      {"x1.x2.3.4x", 0, NetworkOrder(1, 2, 3, 4)},  // every lower-case x is dropped
      {"1.2.3.4X", SM_STATUS_ERROR, kUntouched},
      {"10.1", 0, NetworkOrder(10, 0, 0, 1)},  // the short forms inet_addr reads
      {"010.0001", 0, NetworkOrder(10, 0, 0, 1)},
      {"1.2.3", 0, NetworkOrder(1, 2, 0, 3)},
      {"", SM_STATUS_ERROR, kUntouched},
      {"1..2.3", SM_STATUS_ERROR, kUntouched},
      {"1.2.3.4.5", SM_STATUS_ERROR, kUntouched},
  };
  for (const DottedCase &c : cases) {
    uint32_t address = kUntouched;
    EXPECT_EQ(SMIPAddrASCIIToNetwork(c.text, &address), c.status) << c.text;
    EXPECT_EQ(address, c.address) << c.text;
  }
  uint32_t address;
  EXPECT_EQ(SMIPAddrASCIIToNetwork(nullptr, &address), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMIPAddrASCIIToNetwork("1.2.3.4", nullptr), SM_STATUS_INVALID_ARGS);
}

// Random addresses written with random leading zeros and scattered "x": the
// reader gives back the parts, whatever the padding.
TEST_F(AddressText, dotted_reader_ignores_padding_of_random_addresses) {
  std::mt19937 rng(14);
  for (int round = 0; round < 5000; ++round) {
    uint8_t parts[4];
    std::string text;
    for (int i = 0; i < 4; ++i) {
      parts[i] = static_cast<uint8_t>(rng());
      if (i > 0) text += '.';
      text += std::string(rng() % 4, '0');
      if (rng() % 5 == 0) text += 'x';
      text += std::to_string(parts[i]);
    }
    const uint32_t expected = NetworkOrder(parts[0], parts[1], parts[2], parts[3]);
    // All ones is accepted only as a broadcast spelling; see the rules above.
    if (expected == 0xFFFFFFFF) continue;
    uint32_t address = kUntouched;
    ASSERT_EQ(SMIPAddrASCIIToNetwork(text.c_str(), &address), 0u) << text;
    ASSERT_EQ(address, expected) << text;
  }
}

TEST_F(AddressText, padded_broadcast_is_refused) {
  uint32_t address = kUntouched;
  EXPECT_EQ(SMIPAddrASCIIToNetwork("0255.255.255.255", &address), SM_STATUS_ERROR);
  EXPECT_EQ(address, kUntouched);
}

TEST_F(AddressText, dotted_writer_against_inet_ntop_at_every_size) {
  std::mt19937 rng(5);
  for (int round = 0; round < 300; ++round) {
    const uint32_t address = round == 0 ? NetworkOrder(192, 168, 100, 100) : rng();
    char expected[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &address, expected, sizeof expected);
    const uint32_t needed = static_cast<uint32_t>(std::strlen(expected) + 1);
    for (uint32_t room = 0; room <= 17; ++room) {
      std::vector<char> buf(room + 1, '#');  // one guard byte
      uint32_t size = room;
      const uint32_t status = SMIPAddrNetworkToASCII(address, buf.data(), &size);
      EXPECT_EQ(size, needed) << expected << " room " << room;
      if (room < needed) {
        EXPECT_EQ(status, SM_STATUS_BUFFER_TOO_SMALL);
        EXPECT_EQ(buf[0], '#');
      } else {
        EXPECT_EQ(status, 0u);
        EXPECT_STREQ(buf.data(), expected);
      }
      EXPECT_EQ(buf[room], '#') << "wrote past the room";
    }
  }
  char buf[16];
  uint32_t size = 8;
  EXPECT_EQ(SMIPAddrNetworkToASCII(NetworkOrder(192, 168, 100, 100), buf, &size),
            SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 16u);
  EXPECT_EQ(SMIPAddrNetworkToASCII(0, nullptr, &size), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMIPAddrNetworkToASCII(0, buf, nullptr), SM_STATUS_INVALID_ARGS);
}

TEST_F(AddressText, text_to_binary_follows_inet_pton) {
  const char *texts[] = {"::1",
                         "1.2.3.4",
                         "fe80::1%eth0",
                         "2001:db8::ff00:42:8329",
                         "::ffff:1.2.3.4",
                         "1.2.3",
                         "01.2.3.4",
                         "256.1.1.1",
                         "",
                         "::",
                         "1::2::3",
                         "0xff.1.1.1",
                         "abcd:ef01:2345:6789:abcd:ef01:2345:6789"};
  for (const char *text : texts) {
    for (uint32_t family : {1u, 2u}) {
      const int system_family = family == 1 ? AF_INET : AF_INET6;
      const uint32_t length = family == 1 ? 4 : 16;
      uint8_t expected[16];
      const bool valid = inet_pton(system_family, text, expected) == 1;
      for (uint32_t room : {0u, 3u, 4u, 15u, 16u, 64u}) {
        std::vector<uint8_t> buf(room + 1, 0xEE);
        uint32_t size = room;
        const uint32_t status = SMInetAddrUTF8ToNetwork(family, text, buf.data(), &size);
        SCOPED_TRACE(std::string(text) + " family " + std::to_string(family) + " room " +
                     std::to_string(room));
        if (!valid) {
          EXPECT_EQ(status, SM_STATUS_INVALID_PARAMETER);
          EXPECT_EQ(size, room);
        } else if (room < length) {
          EXPECT_EQ(status, SM_STATUS_BUFFER_TOO_SMALL);
          EXPECT_EQ(size, room);
          EXPECT_EQ(buf[0], 0xEE);
        } else {
          EXPECT_EQ(status, 0u);
          EXPECT_EQ(size, length);
          EXPECT_EQ(std::memcmp(buf.data(), expected, length), 0);
          EXPECT_EQ(buf[length], 0xEE);
        }
      }
    }
  }
  uint8_t buf[16];
  uint32_t size = sizeof buf;
  for (uint32_t family : {0u, 3u, 10u}) {
    EXPECT_EQ(SMInetAddrUTF8ToNetwork(family, "::1", buf, &size), SM_STATUS_INVALID_PARAMETER);
  }
  EXPECT_EQ(SMInetAddrUTF8ToNetwork(2, nullptr, buf, &size), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMInetAddrUTF8ToNetwork(2, "::1", nullptr, &size), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMInetAddrUTF8ToNetwork(2, "::1", buf, nullptr), SM_STATUS_INVALID_ARGS);
}

TEST_F(AddressText, binary_to_text_follows_inet_ntop_at_every_size) {
  std::mt19937 rng(9);
  for (int round = 0; round < 400; ++round) {
    const bool v6 = round % 2 == 1;
    uint8_t address[16] = {};
    // Runs of zero words exercise the "::" compression.
    for (uint8_t &byte : address) byte = rng() % 3 == 0 ? 0 : static_cast<uint8_t>(rng());
    const uint32_t length = v6 ? 16 : 4;
    char expected[INET6_ADDRSTRLEN];
    inet_ntop(v6 ? AF_INET6 : AF_INET, address, expected, sizeof expected);
    const uint32_t needed = static_cast<uint32_t>(std::strlen(expected) + 1);
    for (uint32_t room = 0; room <= needed + 1; ++room) {
      std::vector<char> buf(room + 1, '#');
      uint32_t size = room;
      const uint32_t status =
          SMInetAddrNetworkToUTF8(v6 ? 2 : 1, address, length, buf.data(), &size);
      if (room < needed) {
        EXPECT_EQ(status, SM_STATUS_BUFFER_TOO_SMALL) << expected;
        EXPECT_EQ(size, room);
      } else {
        EXPECT_EQ(status, 0u);
        EXPECT_EQ(size, needed);
        EXPECT_STREQ(buf.data(), expected);
      }
      EXPECT_EQ(buf[room], '#');
    }
  }
  uint8_t address[16] = {};
  char buf[64];
  uint32_t size = sizeof buf;
  EXPECT_EQ(SMInetAddrNetworkToUTF8(1, address, 16, buf, &size), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMInetAddrNetworkToUTF8(2, address, 4, buf, &size), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMInetAddrNetworkToUTF8(3, address, 4, buf, &size), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMInetAddrNetworkToUTF8(1, nullptr, 4, buf, &size), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMInetAddrNetworkToUTF8(1, address, 4, nullptr, &size), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMInetAddrNetworkToUTF8(1, address, 4, buf, nullptr), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(size, sizeof buf);
}

}  // namespace
