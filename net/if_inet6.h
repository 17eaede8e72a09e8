// The kernel's IPv6 address table ("/proc/net/if_inet6") as the library reads
// it: lines of "%32s %2x %2x %2x %2x %15s" (address digits, interface index,
// prefix length, scope, flags, interface name) up to the first line that does
// not match, and the order in which the addresses are listed.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <cstdio>
#include <new>
#include <vector>

#include "base/status.h"

namespace kx::net {

// One line of the table. The fields are bounded by the line pattern itself.
struct Inet6Line {
  char digits[33];     // up to 32 hexadecimal digits of the address
  unsigned index = 0;  // interface index
  unsigned prefix = 0;
  unsigned scope = 0;
  unsigned flags = 0;
  char interface[16];  // up to 15 bytes of interface name
};

// Reads the table from a stream that the caller owns and closes.
class Inet6Table {
 public:
  explicit Inet6Table(FILE *stream) : stream_(stream) {}
  // The next line, or false at the end or at the first line that does not
  // match the pattern (the rest is not read).
  bool Next(Inet6Line *line);

 private:
  FILE *stream_;
};

// The address of a line: its digits as hexadecimal text to bytes, into an
// address that starts zeroed. False when the digits do not convert (odd
// count, a non-digit, more than 16 bytes).
bool LineAddress(const Inet6Line &line, in6_addr *address);

// The three listing passes: addresses outside fe80::/9 first (global), then
// fec0::/10 (site-local), then fe80::/10 (link-local). Every address belongs
// to exactly one.
enum class Inet6Pass { kGlobal = 0, kSiteLocal = 1, kLinkLocal = 2 };
Inet6Pass PassOf(const in6_addr &address);

// Calls emit(address) for each address in listing order: pass by pass, file
// order within a pass.
template <typename Emit>
void ForEachInListingOrder(const std::vector<in6_addr> &addresses, Emit &&emit) {
  for (Inet6Pass pass : {Inet6Pass::kGlobal, Inet6Pass::kSiteLocal, Inet6Pass::kLinkLocal}) {
    for (const in6_addr &address : addresses) {
      if (PassOf(address) == pass) emit(address);
    }
  }
}

// Reads the whole table, keeping in file order the addresses whose interface
// `keep(name)` accepts and whose digits convert. kNoMemory when the list
// cannot grow (the list is then empty).
template <typename Keep>
Status CollectInet6(FILE *stream, Keep &&keep, std::vector<in6_addr> *addresses) {
  Inet6Table table{stream};
  Inet6Line line;
  in6_addr address;
  try {
    while (table.Next(&line)) {
      if (!keep(static_cast<const char *>(line.interface))) continue;
      if (!LineAddress(line, &address)) continue;
      addresses->push_back(address);
    }
  } catch (const std::bad_alloc &) {
    addresses->clear();
    return Status::kNoMemory;
  }
  return Status::kSuccess;
}

}  // namespace kx::net
