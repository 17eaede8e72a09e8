// Helpers shared by the network tests (and the tool's network tests): the
// module brought up for a test, an independent view of the host's addresses
// through getifaddrs, and a forked child in fresh namespaces where a test
// builds interfaces with known addresses.
#pragma once

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "net/module.h"

namespace kx_net_test {

// Brings the network module up for the test when the process's own attach
// left it down (no product registry), and takes it down again afterwards.
class NetModuleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    was_up_ = kx::net::NetworkUp();
    kx::net::NetworkAttach();
  }
  void TearDown() override {
    if (!was_up_) kx::net::NetworkDetach();
  }

 private:
  bool was_up_ = false;
};

// Whether this process may open the packet socket that interface listing
// needs; without it the listings report SM_STATUS_ERROR.
inline bool PacketSocketsAllowed() {
  const int fd = socket(AF_PACKET, SOCK_PACKET, 3);
  if (fd < 0) return false;
  close(fd);
  return true;
}

inline std::string AddressText(const sockaddr *address) {
  char text[INET6_ADDRSTRLEN] = {};
  if (address->sa_family == AF_INET) {
    inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in *>(address)->sin_addr, text,
              sizeof text);
  } else {
    inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6 *>(address)->sin6_addr, text,
              sizeof text);
  }
  return text;
}

// The addresses that the listings should report, from getifaddrs (netlink),
// sorted: IPv4 of running interfaces that are neither loopback nor
// point-to-point; IPv6 of interfaces that are neither loopback nor without ARP.
inline std::vector<std::string> OracleAddresses(int family) {
  std::vector<std::string> out;
  ifaddrs *list = nullptr;
  if (getifaddrs(&list) != 0) return out;
  for (ifaddrs *entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != family) continue;
    const unsigned flags = entry->ifa_flags;
    if (family == AF_INET &&
        ((flags & (IFF_LOOPBACK | IFF_POINTOPOINT)) != 0 || (flags & IFF_RUNNING) == 0)) {
      continue;
    }
    if (family == AF_INET6 && (flags & (IFF_LOOPBACK | IFF_NOARP)) != 0) continue;
    out.push_back(AddressText(entry->ifa_addr));
  }
  freeifaddrs(list);
  std::sort(out.begin(), out.end());
  return out;
}

inline std::vector<std::string> Sorted(std::vector<std::string> texts) {
  std::sort(texts.begin(), texts.end());
  return texts;
}

// The addresses of the kernel's IPv6 table in file order, as text, read with
// streams rather than the library's reader.
inline std::vector<std::string> Inet6FileOrder() {
  std::vector<std::string> out;
  std::ifstream table("/proc/net/if_inet6");
  std::string digits, index, prefix, scope, flags, name;
  while (table >> digits >> index >> prefix >> scope >> flags >> name) {
    in6_addr address{};
    for (size_t i = 0; i < 16 && 2 * i + 1 < digits.size(); ++i) {
      address.s6_addr[i] = static_cast<uint8_t>(std::stoul(digits.substr(2 * i, 2), nullptr, 16));
    }
    char text[INET6_ADDRSTRLEN];
    inet_ntop(AF_INET6, &address, text, sizeof text);
    out.push_back(text);
  }
  return out;
}

// Exit status of a namespace child that found a facility missing.
inline constexpr int kChildSkipped = 77;

// Ends a namespace child as skipped, saying why on standard error.
[[noreturn]] inline void SkipInChild(const char *reason) {
  std::fprintf(stderr, "namespace child skipped: %s\n", reason);
  std::fflush(nullptr);
  _exit(kChildSkipped);
}

// Runs `body` in a forked child that first enters new namespaces (`flags` of
// unshare). The child's test assertions print as usual; the parent's result
// is the child's: 0 when body raised no failure, kChildSkipped when the
// namespaces (or something the body needs, see SkipInChild) are unavailable.
// `*skip` explains why the part cannot run, and is empty otherwise.
inline int RunInNewNamespaces(int flags, const std::function<void()> &body, std::string *skip) {
  skip->clear();
  if (geteuid() != 0) {
    *skip = "needs root to create namespaces and interfaces";
    return 0;
  }
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) {
    *skip = "fork failed";
    return 0;
  }
  if (child == 0) {
    if (unshare(flags) != 0) SkipInChild("unshare refused");
    body();
    std::fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int raw = 0;
  while (waitpid(child, &raw, 0) < 0) {
  }
  const int status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
  if (status == kChildSkipped)
    *skip = "the namespace child could not set up (reason printed above)";
  return status;
}

// Runs "ip ARGS" (iproute2) in the calling process's namespaces; true when it
// succeeded. Ip also records a test failure when it did not.
inline bool TryIp(const std::string &args) {
  const std::string command = "ip " + args;
  const int raw = std::system(command.c_str());
  return raw != -1 && WIFEXITED(raw) && WEXITSTATUS(raw) == 0;
}
inline bool Ip(const std::string &args) {
  const bool ok = TryIp(args);
  if (!ok) ADD_FAILURE() << "failed: ip " << args;
  return ok;
}

// Waits until the named interface reports IFF_RUNNING: a veth's carrier comes
// up shortly after "ip link set up", not with it. Gives up after ten seconds
// with a test failure.
inline bool WaitUntilRunning(const char *name) {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  bool running = false;
  for (int tries = 0; fd >= 0 && tries < 1000 && !running; ++tries) {
    ifreq request{};
    std::snprintf(request.ifr_name, sizeof request.ifr_name, "%s", name);
    running = ioctl(fd, SIOCGIFFLAGS, &request) == 0 && (request.ifr_flags & IFF_RUNNING) != 0;
    if (!running) usleep(10000);
  }
  if (fd >= 0) close(fd);
  if (!running) ADD_FAILURE() << name << " never came up running";
  return running;
}

// Whether iproute2's "ip" can be run.
inline bool IpAvailable() {
  return std::system("ip -V >/dev/null 2>&1") == 0;
}

}  // namespace kx_net_test
