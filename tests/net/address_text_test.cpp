// Address text to binary and back, through the exported functions: the dotted
// IPv4 reader against addresses built from their parts, and the writers and
// family readers against inet_ntop / inet_pton at every room size.
#include <arpa/inet.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
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

TEST_F(AddressText, dotted_reader_rules) {
  const struct {
    const char *text;
    uint32_t status;
    uint32_t address;  // kUntouched: the output keeps its old value
  } cases[] = {
      {"192.168.001.010", 0, NetworkOrder(192, 168, 1, 10)},
      {"010.0.00.000", 0, NetworkOrder(10, 0, 0, 0)},  // never octal; one zero stays
      {"255.255.255.255", 0, 0xFFFFFFFF},
      {"0XFF.0XFF.0XFF.0XFF", 0, 0xFFFFFFFF},  // the broadcast spellings, any case
      {"0xff.0xFF.0Xff.0xff", 0, 0xFFFFFFFF},
      {"300.1.1.1", SM_STATUS_ERROR, kUntouched},
      {"4294967295", SM_STATUS_ERROR, kUntouched},  // all ones, not a broadcast spelling
      {"0255.255.255.255", SM_STATUS_ERROR, kUntouched},
      {"0x0a.1.1.1", SM_STATUS_ERROR, kUntouched},  // hexadecimal parts are refused
      {"x1.x2.3.4x", 0, NetworkOrder(1, 2, 3, 4)},  // every lower-case x is dropped
      {"1.2.3.4X", SM_STATUS_ERROR, kUntouched},
      {"010.0001", 0, NetworkOrder(10, 0, 0, 1)},  // the short forms inet_addr reads
      {"1.2.3", 0, NetworkOrder(1, 2, 0, 3)},
      {"", SM_STATUS_ERROR, kUntouched},
      {"1..2.3", SM_STATUS_ERROR, kUntouched},
  };
  for (const auto &c : cases) {
    uint32_t address = kUntouched;
    EXPECT_EQ(SMIPAddrASCIIToNetwork(c.text, &address), c.status) << c.text;
    EXPECT_EQ(address, c.address) << c.text;
  }
}

// Random addresses written with random leading zeros and scattered "x" read
// back as their parts.
TEST_F(AddressText, dotted_reader_ignores_padding_of_random_addresses) {
  std::mt19937 rng(14);
  for (int round = 0; round < 5000; ++round) {
    uint8_t parts[4];
    std::string text;
    for (int i = 0; i < 4; ++i) {
      parts[i] = static_cast<uint8_t>(rng());
      // One piece at a time: the draws then come in the same order with every
      // compiler, and GCC 12's -Wrestrict false positive on "literal" +
      // std::string temporaries at -O3 stays away.
      if (i > 0) text += '.';
      text.append(rng() % 4, '0');
      if (rng() % 5 == 0) text += 'x';
      text += std::to_string(parts[i]);
    }
    const uint32_t expected = NetworkOrder(parts[0], parts[1], parts[2], parts[3]);
    if (expected == 0xFFFFFFFF) continue;  // all ones has its own rule, above
    uint32_t address = kUntouched;
    ASSERT_EQ(SMIPAddrASCIIToNetwork(text.c_str(), &address), 0u) << text;
    ASSERT_EQ(address, expected) << text;
  }
}

// Both writers at every room from 0 to one past the text: 16 below the size
// needed (the dotted writer reports it, the family writer keeps the size),
// never a byte past the room.
TEST_F(AddressText, writers_follow_inet_ntop_at_every_room) {
  std::mt19937 rng(9);
  for (int round = 0; round < 400; ++round) {
    const bool v6 = round % 2 == 1;
    uint8_t address[16];
    for (uint8_t &byte : address) byte = rng() % 3 == 0 ? 0 : static_cast<uint8_t>(rng());
    char expected[INET6_ADDRSTRLEN];
    inet_ntop(v6 ? AF_INET6 : AF_INET, address, expected, sizeof expected);
    const auto needed = static_cast<uint32_t>(std::strlen(expected) + 1);
    uint32_t v4;
    std::memcpy(&v4, address, 4);
    for (uint32_t room = 0; room <= needed + 1; ++room) {
      SCOPED_TRACE(std::string(expected) + " room " + std::to_string(room));
      for (bool dotted : {false, true}) {
        if (dotted && v6) continue;
        std::vector<char> buf(room + 1, '#');
        uint32_t size = room;
        const uint32_t status =
            dotted ? SMIPAddrNetworkToASCII(v4, buf.data(), &size)
                   : SMInetAddrNetworkToUTF8(v6 ? 2 : 1, address, v6 ? 16 : 4, buf.data(), &size);
        EXPECT_EQ(status, room < needed ? SM_STATUS_BUFFER_TOO_SMALL : 0u);
        EXPECT_EQ(size, room < needed && !dotted ? room : needed);
        if (room >= needed) {
          EXPECT_STREQ(buf.data(), expected);
        }
        EXPECT_EQ(buf[room], '#');
      }
    }
  }
}

TEST_F(AddressText, family_reader_follows_inet_pton) {
  const char *texts[] = {
      "::1",   "1.2.3.4",  "fe80::1%eth0", "2001:db8::ff00:42:8329",
      "1.2.3", "01.2.3.4", "256.1.1.1",    "::ffff:1.2.3.4",
      "",      "1::2::3",  "0xff.1.1.1",   "abcd:ef01:2345:6789:abcd:ef01:2345:6789"};
  for (const char *text : texts) {
    for (uint32_t family : {1u, 2u}) {
      const uint32_t length = family == 1 ? 4 : 16;
      uint8_t expected[16];
      const bool valid = inet_pton(family == 1 ? AF_INET : AF_INET6, text, expected) == 1;
      for (uint32_t room : {0u, 3u, 4u, 15u, 16u, 64u}) {
        SCOPED_TRACE(std::string(text) + " family " + std::to_string(family) + " room " +
                     std::to_string(room));
        std::vector<uint8_t> buf(room + 1, 0xEE);
        uint32_t size = room;
        const uint32_t status = SMInetAddrUTF8ToNetwork(family, text, buf.data(), &size);
        const bool fits = valid && room >= length;
        EXPECT_EQ(status, !valid  ? SM_STATUS_INVALID_PARAMETER
                          : !fits ? SM_STATUS_BUFFER_TOO_SMALL
                                  : 0u);
        EXPECT_EQ(size, fits ? length : room);
        if (fits) {
          EXPECT_EQ(std::memcmp(buf.data(), expected, length), 0);
        }
        EXPECT_EQ(buf[fits ? length : 0], 0xEE);
      }
    }
  }
}

TEST_F(AddressText, missing_arguments_bad_families_and_lengths) {
  uint8_t bytes[16] = {};
  char text[64];
  uint32_t size = sizeof text;
  uint32_t address;
  const struct {
    const char *what;
    std::function<uint32_t()> call;
    uint32_t status;
  } cases[] = {
      {"dotted text", [&] { return SMIPAddrASCIIToNetwork(nullptr, &address); }, 2},
      {"dotted out", [&] { return SMIPAddrASCIIToNetwork("1.2.3.4", nullptr); }, 2},
      {"dotted buf", [&] { return SMIPAddrNetworkToASCII(0, nullptr, &size); }, 2},
      {"dotted size", [&] { return SMIPAddrNetworkToASCII(0, text, nullptr); }, 2},
      {"read text", [&] { return SMInetAddrUTF8ToNetwork(2, nullptr, bytes, &size); }, 2},
      {"read buf", [&] { return SMInetAddrUTF8ToNetwork(2, "::1", nullptr, &size); }, 2},
      {"read size", [&] { return SMInetAddrUTF8ToNetwork(2, "::1", bytes, nullptr); }, 2},
      {"read family 0", [&] { return SMInetAddrUTF8ToNetwork(0, "::1", bytes, &size); }, 271},
      {"read family 3", [&] { return SMInetAddrUTF8ToNetwork(3, "::1", bytes, &size); }, 271},
      {"write address", [&] { return SMInetAddrNetworkToUTF8(1, nullptr, 4, text, &size); }, 2},
      {"write buf", [&] { return SMInetAddrNetworkToUTF8(1, bytes, 4, nullptr, &size); }, 2},
      {"write size", [&] { return SMInetAddrNetworkToUTF8(1, bytes, 4, text, nullptr); }, 2},
      {"write v4 of 16", [&] { return SMInetAddrNetworkToUTF8(1, bytes, 16, text, &size); }, 271},
      {"write v6 of 4", [&] { return SMInetAddrNetworkToUTF8(2, bytes, 4, text, &size); }, 271},
      {"write family 3", [&] { return SMInetAddrNetworkToUTF8(3, bytes, 4, text, &size); }, 271},
  };
  for (const auto &c : cases) EXPECT_EQ(c.call(), c.status) << c.what;
  EXPECT_EQ(size, sizeof text);
}

}  // namespace
