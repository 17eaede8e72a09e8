// Address text to binary and back. The dotted IPv4 reader is the one typed
// value translation uses, so both read addresses alike; the other directions
// are the C library's inet_ntoa, inet_pton and inet_ntop under the library's
// size and status conventions.
#include "net/address_text.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cerrno>
#include <cstring>

#include "net/module.h"
#include "values/forms.h"

namespace kx::net {

bool SystemFamily(uint32_t family, int *system_family, uint32_t *address_size) {
  switch (family) {
    case 1:
      *system_family = AF_INET;
      *address_size = sizeof(in_addr);
      return true;
    case 2:
      *system_family = AF_INET6;
      *address_size = sizeof(in6_addr);
      return true;
    default:
      return false;
  }
}

Status IPAddrASCIIToNetwork(const char *text, uint32_t *address) {
  if (!NetworkUp()) return Status::kNotReady;
  if (text == nullptr || address == nullptr) return Status::kInvalidArgs;
  return values::ParseDottedIPv4(text, address);
}

Status IPAddrNetworkToASCII(uint32_t address, char *buf, uint32_t *size) {
  if (!NetworkUp()) return Status::kNotReady;
  if (buf == nullptr || size == nullptr) return Status::kInvalidArgs;
  in_addr in{};
  in.s_addr = address;
  const char *dotted = inet_ntoa(in);  // thread-local storage in this C library
  if (dotted == nullptr) return Status::kError;
  const auto needed = static_cast<uint32_t>(std::strlen(dotted) + 1);
  if (needed > *size) {
    *size = needed;
    return Status::kBufferTooSmall;
  }
  std::memcpy(buf, dotted, needed);
  *size = needed;
  return Status::kSuccess;
}

Status InetAddrUTF8ToNetwork(uint32_t family, const char *text, void *buf, uint32_t *size) {
  if (!NetworkUp()) return Status::kNotReady;
  if (text == nullptr || buf == nullptr || size == nullptr) return Status::kInvalidArgs;
  int system_family;
  uint32_t address_size;
  if (!SystemFamily(family, &system_family, &address_size)) return Status::kInvalidParameter;
  in6_addr binary;  // room for either family
  if (inet_pton(system_family, text, &binary) != 1) return Status::kInvalidParameter;
  if (*size < address_size) return Status::kBufferTooSmall;
  std::memcpy(buf, &binary, address_size);
  *size = address_size;
  return Status::kSuccess;
}

Status InetAddrNetworkToUTF8(uint32_t family, const void *address, uint32_t length, char *buf,
                             uint32_t *size) {
  if (!NetworkUp()) return Status::kNotReady;
  if (address == nullptr || buf == nullptr || size == nullptr) return Status::kInvalidArgs;
  int system_family;
  uint32_t address_size;
  if (!SystemFamily(family, &system_family, &address_size) || length != address_size) {
    return Status::kInvalidParameter;
  }
  if (inet_ntop(system_family, address, buf, *size) == nullptr) {
    switch (errno) {
      case ENOSPC:
        return Status::kBufferTooSmall;
      case EAFNOSUPPORT:
        return Status::kInvalidParameter;
      default:
        return Status::kError;
    }
  }
  *size = static_cast<uint32_t>(std::strlen(buf) + 1);
  return Status::kSuccess;
}

}  // namespace kx::net
