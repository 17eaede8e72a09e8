// Interface address enumeration. Both lists query interfaces through a packet
// socket used only as an ioctl handle (opening it needs the packet-socket
// privilege), opened and closed by each call. The IPv4 list asks for the
// interface configuration with a buffer that grows until the kernel's answer
// leaves room to spare, so no entry can have been cut off.
#include "net/interfaces.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "base/memory.h"
#include "net/if_inet6.h"
#include "net/module.h"

namespace kx::net {

namespace {

constexpr const char *kInet6TablePath = "/proc/net/if_inet6";
constexpr uint32_t kFirstListRoom = 960;
constexpr uint32_t kListRoomStep = 640;
constexpr uint32_t kSlotSize = 16;

// A packet socket that serves only as the handle for interface ioctls. The
// protocol number is never used to receive: the socket is closed unread.
class InterfaceSocket {
 public:
  InterfaceSocket() : fd_(socket(AF_PACKET, SOCK_PACKET | SOCK_CLOEXEC, kProtocol)) {}
  ~InterfaceSocket() {
    if (fd_ >= 0) close(fd_);
  }
  InterfaceSocket(const InterfaceSocket &) = delete;
  InterfaceSocket &operator=(const InterfaceSocket &) = delete;

  bool open() const { return fd_ >= 0; }
  int fd() const { return fd_; }

  // The interface flags of `request`'s name, or false when they cannot be read.
  bool Flags(const ifreq &request, short *flags) const {
    ifreq probe = request;  // the flags overwrite the request's union
    if (ioctl(fd_, SIOCGIFFLAGS, &probe) != 0) return false;
    *flags = probe.ifr_flags;
    return true;
  }
  bool Flags(const char *name, short *flags) const {
    ifreq request{};
    std::memcpy(request.ifr_name, name, strnlen(name, IFNAMSIZ - 1));
    return Flags(request, flags);
  }

 private:
  static constexpr int kProtocol = 3;  // ETH_P_ALL's number, passed as it is
  int fd_;
};

// The kernel's interface configuration list into a heap block of the
// library's allocator (freed by the caller); *entries is its request count.
// Null when the ioctl or an allocation fails.
ifreq *InterfaceList(const InterfaceSocket &sock, size_t *entries) {
  for (uint32_t room = kFirstListRoom;; room += kListRoomStep) {
    void *block = base::AllocMem(room);
    if (block == nullptr) return nullptr;
    ifconf conf{};
    conf.ifc_len = static_cast<int>(room);
    conf.ifc_buf = static_cast<char *>(block);
    if (ioctl(sock.fd(), SIOCGIFCONF, &conf) != 0) {
      base::FreeMem(block);
      return nullptr;
    }
    // A full buffer may have cut the list short: ask again with more room.
    if (static_cast<uint32_t>(conf.ifc_len) < room) {
      *entries = static_cast<size_t>(conf.ifc_len) / sizeof(ifreq);
      return static_cast<ifreq *>(block);
    }
    base::FreeMem(block);
  }
}

bool SkippedIPv4Interface(short flags) {
  return (flags & (IFF_LOOPBACK | IFF_POINTOPOINT)) != 0 || (flags & IFF_RUNNING) == 0;
}

bool SkippedIPv6Interface(short flags) {
  return (flags & (IFF_LOOPBACK | IFF_NOARP)) != 0;
}

// Copies NUL-terminated text into `room` bytes, cut to room - 1 bytes; the
// rest of the destination is zeroed so that records carry no stale bytes.
void CopyBounded(char *out, size_t room, const char *text) {
  std::memset(out, 0, room);
  std::memcpy(out, text, strnlen(text, room - 1));
}

// The IPv4 part of the record listing: the enumeration into a temporary slot
// array as large as the caller's capacity, then one record per slot filled.
Status IPv4Records(SMInetAddrStr *records, uint32_t capacity, uint32_t *found) {
  if (records == nullptr) return EnumerateIPv4(nullptr, 0, found);
  const uint64_t bytes = uint64_t{capacity} * kSlotSize;
  if (bytes > UINT32_MAX) return Status::kNoMemory;
  // A zero capacity still gets an array, so that every address overflows it.
  auto *slots = static_cast<char(*)[kSlotSize]>(
      base::AllocMem(std::max<uint32_t>(static_cast<uint32_t>(bytes), 1)));
  if (slots == nullptr) return Status::kNoMemory;
  const Status status = EnumerateIPv4(slots, capacity, found);
  if (status == Status::kSuccess || status == Status::kBufferTooSmall) {
    for (uint32_t i = 0; i < std::min(*found, capacity); ++i) {
      records[i].family = SM_NET_FAMILY_IPV4;
      records[i].reserved = 0;
      CopyBounded(records[i].text, sizeof records[i].text, slots[i]);
    }
  }
  base::FreeMem(slots);
  return status;
}

}  // namespace

Status EnumerateIPv4(char (*slots)[16], uint32_t capacity, uint32_t *found) {
  InterfaceSocket sock;
  if (!sock.open()) return Status::kError;
  size_t entries = 0;
  ifreq *list = InterfaceList(sock, &entries);
  if (list == nullptr) return Status::kError;
  Status status = Status::kSuccess;
  uint32_t index = 0;
  for (size_t i = 0; i < entries; ++i) {
    short flags;
    if (sock.Flags(list[i], &flags) && SkippedIPv4Interface(flags)) continue;
    // The request still carries the listed address, so the kernel answers
    // for this very address even when several share the interface name.
    ifreq request = list[i];
    if (ioctl(sock.fd(), SIOCGIFADDR, &request) != 0) continue;
    sockaddr_in address;
    std::memcpy(&address, &request.ifr_addr, sizeof address);
    const char *dotted = inet_ntoa(address.sin_addr);
    if (slots != nullptr) {
      if (index < capacity) {
        CopyBounded(slots[index], kSlotSize, dotted);
        status = Status::kSuccess;
      } else {
        status = Status::kBufferTooSmall;
      }
    }
    ++index;
  }
  base::FreeMem(list);
  *found = index;
  return status;
}

Status ListIPv6(SMInetAddrStr *records, uint32_t capacity, uint32_t *count) {
  FILE *table = std::fopen(kInet6TablePath, "re");
  if (table == nullptr) return Status::kError;
  InterfaceSocket sock;
  if (!sock.open()) {
    std::fclose(table);
    return Status::kError;
  }
  std::vector<in6_addr> addresses;
  const Status collected = CollectInet6(
      table,
      [&sock](const char *name) {
        short flags;
        return !sock.Flags(name, &flags) || !SkippedIPv6Interface(flags);
      },
      &addresses);
  std::fclose(table);
  if (!Ok(collected)) return collected;
  Status status = Status::kSuccess;
  uint32_t index = *count;
  ForEachInListingOrder(addresses, [&](const in6_addr &address) {
    if (records != nullptr) {
      if (index < capacity) {
        SMInetAddrStr &record = records[index];
        record.family = SM_NET_FAMILY_IPV6;
        record.reserved = 0;
        std::memset(record.text, 0, sizeof record.text);
        inet_ntop(AF_INET6, &address, record.text, sizeof record.text);
        status = Status::kSuccess;
      } else {
        status = Status::kBufferTooSmall;
      }
    }
    ++index;
  });
  *count = index;
  return status;
}

Status GetIPAddrStrList(void * /*reserved*/, uint32_t *count, char (*slots)[16]) {
  if (!NetworkUp()) return Status::kNotReady;
  if (count == nullptr) return Status::kInvalidArgs;
  uint32_t found = 0;
  const Status status = EnumerateIPv4(slots, *count, &found);
  if (status == Status::kSuccess || status == Status::kBufferTooSmall) *count = found;
  return status;
}

Status GetInetAddrStrList(uint32_t mode, uint32_t *count, SMInetAddrStr *records) {
  if (!NetworkUp()) return Status::kNotReady;
  if (count == nullptr) return Status::kInvalidArgs;
  if (mode > SM_NET_ADDR_IPV6_ONLY) return Status::kInvalidParameter;
  const uint32_t capacity = *count;
  uint32_t total = 0;
  Status status = Status::kSuccess;
  if (mode != SM_NET_ADDR_IPV6_ONLY) {
    status = IPv4Records(records, capacity, &total);
    if (status != Status::kSuccess && status != Status::kBufferTooSmall) return status;
    *count = total;
    if (mode == SM_NET_ADDR_IPV4_ONLY) return status;
  }
  // The IPv6 list continues the record index and count; its status, not the
  // IPv4 one, is the result.
  status = ListIPv6(records, capacity, &total);
  if (status == Status::kSuccess || status == Status::kBufferTooSmall) *count = total;
  return status;
}

}  // namespace kx::net
