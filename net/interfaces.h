// The host's interface addresses as text: the IPv4 list from the interface
// configuration ioctls and the IPv6 list from the kernel's address table,
// into caller arrays under the count in/out convention of kxsupt/net.h.
#pragma once

#include <cstdint>

#include "base/status.h"
#include "kxsupt/net.h"

namespace kx::net {

// Dotted IPv4 interface addresses into 16-byte slots (null: count only).
Status GetIPAddrStrList(void *reserved, uint32_t *count, char (*slots)[16]);
// IPv4 and/or IPv6 addresses (mode 0, 1 or 2) into 260-byte records (null:
// count only); the status of the last list made.
Status GetInetAddrStrList(uint32_t mode, uint32_t *count, SMInetAddrStr *records);

// The IPv4 enumeration behind both: every interface request that the kernel
// lists, minus loopback, point-to-point and not-running interfaces (kept when
// their flags cannot be read), stored while index < capacity and counted in
// *found either way. kBufferTooSmall when the last address did not fit (never
// with null slots); kError when the socket or the list cannot be had.
Status EnumerateIPv4(char (*slots)[16], uint32_t capacity, uint32_t *found);

// The IPv6 listing: addresses of the table whose interface is neither
// loopback nor without ARP, in listing order, written as records from index
// *count on while the index is below capacity; *count grows by the number
// found. kBufferTooSmall when the last one did not fit (never with null
// records); kError when the table or the socket cannot be opened; kNoMemory.
Status ListIPv6(SMInetAddrStr *records, uint32_t capacity, uint32_t *count);

}  // namespace kx::net
