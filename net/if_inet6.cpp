// Reading the kernel's IPv6 address table and classifying its addresses for
// the three listing passes.
#include "net/if_inet6.h"

#include "values/translation.h"

namespace kx::net {

bool Inet6Table::Next(Inet6Line *line) {
  return std::fscanf(stream_, "%32s %2x %2x %2x %2x %15s\n", line->digits, &line->index,
                     &line->prefix, &line->scope, &line->flags, line->interface) == 6;
}

bool LineAddress(const Inet6Line &line, in6_addr *address) {
  *address = in6_addr{};
  uint32_t room = sizeof address->s6_addr;
  return Ok(values::HexTextToBytes(line.digits, address->s6_addr, &room));
}

Inet6Pass PassOf(const in6_addr &address) {
  const uint8_t *bytes = address.s6_addr;
  if (bytes[0] != 0xFE || (bytes[1] & 0x80) == 0) return Inet6Pass::kGlobal;  // outside fe80::/9
  return (bytes[1] & 0xC0) == 0xC0 ? Inet6Pass::kSiteLocal : Inet6Pass::kLinkLocal;
}

}  // namespace kx::net
