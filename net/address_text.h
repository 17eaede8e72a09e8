// Conversions between address text and network-order binary addresses: the
// dotted IPv4 reader and writer, and the inet_pton / inet_ntop pair for both
// families. Family codes and statuses as in kxsupt/net.h.
#pragma once

#include <sys/socket.h>

#include <cstdint>

#include "base/status.h"

namespace kx::net {

// The system address family of a family code (1 IPv4, 2 IPv6) and the size
// of its binary address; false for any other code.
bool SystemFamily(uint32_t family, int *system_family, uint32_t *address_size);

// Dotted text to a network-order address (leading zeros never octal, "x"
// dropped; all ones only for the two broadcast spellings, else kError with
// *address untouched).
Status IPAddrASCIIToNetwork(const char *text, uint32_t *address);
// Dotted text of a network-order address; kBufferTooSmall with the size
// needed when the text and its NUL exceed *size.
Status IPAddrNetworkToASCII(uint32_t address, char *buf, uint32_t *size);
// Text of either family to its binary address; kInvalidParameter for a bad
// family or text, kBufferTooSmall (size unchanged) for a short buffer.
Status InetAddrUTF8ToNetwork(uint32_t family, const char *text, void *buf, uint32_t *size);
// Binary address of either family to text; kInvalidParameter for a bad family
// or length, kBufferTooSmall (size unchanged) when the text does not fit.
Status InetAddrNetworkToUTF8(uint32_t family, const void *address, uint32_t length, char *buf,
                             uint32_t *size);

}  // namespace kx::net
