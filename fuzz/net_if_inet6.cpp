// Fuzz target for the reader of the kernel's IPv6 address table. The input is
// the table's text; every line read must respect the pattern's string bounds
// (the numbers take any value "%2x" reads, signs included), and the
// listing order must be a reordering of what was kept, pass by pass.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "net/if_inet6.h"

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  std::vector<uint8_t> copy(data, data + size);
  FILE *stream = fmemopen(copy.data(), copy.size(), "r");
  if (stream == nullptr) return 0;
  kx::net::Inet6Table table{stream};
  kx::net::Inet6Line line;
  size_t lines = 0;
  while (table.Next(&line)) {
    Check(std::strlen(line.digits) <= 32 && std::strlen(line.interface) <= 15);
    ++lines;
  }
  std::rewind(stream);
  // Keep the interfaces whose name starts with an even byte, as a stand-in
  // for the flag filter.
  std::vector<in6_addr> kept;
  const kx::Status status = kx::net::CollectInet6(
      stream, [](const char *name) { return (static_cast<unsigned char>(name[0]) & 1) == 0; },
      &kept);
  std::fclose(stream);
  Check(status == kx::Status::kSuccess && kept.size() <= lines);
  std::vector<in6_addr> listed;
  int last_pass = 0;
  kx::net::ForEachInListingOrder(kept, [&](const in6_addr &address) {
    const int pass = static_cast<int>(kx::net::PassOf(address));
    Check(pass >= last_pass);
    last_pass = pass;
    listed.push_back(address);
  });
  Check(listed.size() == kept.size());
  return 0;
}
