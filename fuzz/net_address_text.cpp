// Fuzz target for the address-text readers and writers of the network family.
// The first byte is the room of the output buffers, the rest the text (up to
// its first zero byte). The dotted reader must give a known status, leave the
// output alone on failure and read back what it accepted; the family readers
// must agree with inet_pton; the writers, fed the same bytes as a binary
// address, with inet_ntop at that room.
#include <arpa/inet.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "net/address_text.h"
#include "net/module.h"

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

// An output buffer of exactly `room` elements (never null, even for 0), so
// that the sanitizer reports any write past the room.
template <typename T>
std::unique_ptr<T[]> Room(uint32_t room) {
  return std::unique_ptr<T[]>(new T[room]);
}

// True when `text` is four dot-separated runs of decimal digits, each at most
// 255, with any number of lower-case "x" anywhere; *parts gets the values.
bool PlainDotted(const std::string &text, uint8_t parts[4]) {
  int part = 0;
  unsigned value = 0;
  bool digits = false;
  for (char c : text) {
    if (c == 'x') continue;
    if (c == '.') {
      if (!digits || part == 3) return false;
      parts[part++] = static_cast<uint8_t>(value);
      value = 0;
      digits = false;
    } else if (c >= '0' && c <= '9') {
      value = value * 10 + static_cast<unsigned>(c - '0');
      if (value > 255) return false;
      digits = true;
    } else {
      return false;
    }
  }
  if (!digits || part != 3) return false;
  parts[3] = static_cast<uint8_t>(value);
  return true;
}

void FuzzDotted(const std::string &text) {
  uint32_t address = 0x5A5A5A5A;
  const kx::Status status = kx::net::IPAddrASCIIToNetwork(text.c_str(), &address);
  Check(status == kx::Status::kSuccess || status == kx::Status::kError ||
        status == kx::Status::kNoMemory);
  if (status != kx::Status::kSuccess) {
    Check(address == 0x5A5A5A5A);
  } else {
    // What was accepted reads back the same from its own dotted text.
    char dotted[16];
    uint32_t size = sizeof dotted;
    Check(kx::net::IPAddrNetworkToASCII(address, dotted, &size) == kx::Status::kSuccess);
    uint32_t again = 0;
    Check(kx::net::IPAddrASCIIToNetwork(dotted, &again) == kx::Status::kSuccess);
    Check(again == address);
  }
  uint8_t parts[4];
  if (PlainDotted(text, parts)) {
    uint32_t expected;
    std::memcpy(&expected, parts, 4);
    if (expected != 0xFFFFFFFF) Check(status == kx::Status::kSuccess && address == expected);
  }
}

void FuzzFamilyText(const std::string &text, uint32_t room) {
  for (uint32_t family : {1u, 2u}) {
    const int system_family = family == 1 ? AF_INET : AF_INET6;
    const uint32_t length = family == 1 ? 4 : 16;
    uint8_t expected[16];
    const bool valid = inet_pton(system_family, text.c_str(), expected) == 1;
    const auto out = Room<uint8_t>(room);
    uint32_t size = room;
    const kx::Status status =
        kx::net::InetAddrUTF8ToNetwork(family, text.c_str(), out.get(), &size);
    if (!valid) {
      Check(status == kx::Status::kInvalidParameter && size == room);
    } else if (room < length) {
      Check(status == kx::Status::kBufferTooSmall && size == room);
    } else {
      Check(status == kx::Status::kSuccess && size == length);
      Check(std::memcmp(out.get(), expected, length) == 0);
    }
  }
}

void FuzzWriters(const uint8_t *bytes, size_t count, uint32_t room) {
  uint8_t address[16] = {};
  std::memcpy(address, bytes, count < 16 ? count : 16);
  for (uint32_t family : {1u, 2u}) {
    const uint32_t length = family == 1 ? 4 : 16;
    char expected[INET6_ADDRSTRLEN];
    inet_ntop(family == 1 ? AF_INET : AF_INET6, address, expected, sizeof expected);
    const auto needed = static_cast<uint32_t>(std::strlen(expected) + 1);
    const auto out = Room<char>(room);
    uint32_t size = room;
    const kx::Status status =
        kx::net::InetAddrNetworkToUTF8(family, address, length, out.get(), &size);
    if (room < needed) {
      Check(status == kx::Status::kBufferTooSmall && size == room);
    } else {
      Check(status == kx::Status::kSuccess && size == needed);
      Check(std::strcmp(out.get(), expected) == 0);
    }
  }
  uint32_t v4;
  std::memcpy(&v4, address, 4);
  const auto out = Room<char>(room);
  uint32_t size = room;
  const kx::Status status = kx::net::IPAddrNetworkToASCII(v4, out.get(), &size);
  Check(status == (size > room ? kx::Status::kBufferTooSmall : kx::Status::kSuccess));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const int attached = kx::net::NetworkAttach();
  (void)attached;
  if (size < 1) return 0;
  const uint32_t room = data[0] % 72;
  const std::string text(reinterpret_cast<const char *>(data + 1), size - 1);
  const std::string terminated = text.c_str();  // up to the first zero byte
  FuzzDotted(terminated);
  FuzzFamilyText(terminated, room);
  FuzzWriters(data + 1, size - 1, room);
  return 0;
}
