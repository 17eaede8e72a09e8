/*
 * kxsupt: net family. The local host name (byte and UCS-2 forms), the host's
 * DNS suffix, the host's IPv4 and IPv6 interface addresses as text, and
 * conversions between address text and network-order binary.
 *
 * Module: the functions need the network module, which comes up with the
 * library when the product registry is found at load. While it is down every
 * function here returns SM_STATUS_NOT_READY (17) and touches nothing.
 *
 * Families: the address family codes are SM_NET_FAMILY_IPV4 (1, 4-byte
 * addresses) and SM_NET_FAMILY_IPV6 (2, 16-byte addresses). IPv4 addresses
 * passed as a uint32_t are in network byte order.
 *
 * Sizes: size arguments are in/out. On entry they hold the room in the
 * caller's buffer (bytes, terminator included) or array (entries); on return
 * the size needed or the number of entries found. Nothing is allocated for the
 * caller: every result lands in caller-owned memory.
 *
 * Interfaces: the IPv4 list comes from the interface configuration ioctls on
 * a packet socket, skipping loopback, point-to-point and not-running
 * interfaces; listing it needs the privilege to open packet sockets. The IPv6
 * list comes from the kernel's table "/proc/net/if_inet6", skipping loopback
 * interfaces and interfaces without ARP, ordered global addresses first, then
 * site-local (fec0::/10), then link-local (fe80::/10).
 *
 * Statuses: 0 success; 2 a required pointer is null; 16 the buffer or array
 * is too small (the size needed or the count found is reported); 17 the
 * module is down; 271 an unknown family or mode, a wrong address length, or
 * text that is no address; 272 no memory; SM_STATUS_ERROR (all ones) a failed
 * system call (socket, interface list, host lookup, or a dotted address that
 * reads as all ones without being a broadcast spelling). Calls may run in
 * parallel.
 */
#ifndef KXSUPT_NET_H
#define KXSUPT_NET_H

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

/* Address families. */
#define SM_NET_FAMILY_IPV4 1u /* IPv4, 4-byte addresses */
#define SM_NET_FAMILY_IPV6 2u /* IPv6, 16-byte addresses */

/* Modes of SMGetInetAddrStrList. */
#define SM_NET_ADDR_ALL 0u       /* IPv4 addresses, then IPv6 addresses */
#define SM_NET_ADDR_IPV4_ONLY 1u /* IPv4 addresses only */
#define SM_NET_ADDR_IPV6_ONLY 2u /* IPv6 addresses only */

/* One address of SMGetInetAddrStrList: 260 bytes. */
typedef struct SMInetAddrStr {
  uint16_t family;   /* SM_NET_FAMILY_IPV4 or SM_NET_FAMILY_IPV6 */
  uint16_t reserved; /* written 0 */
  char text[256];    /* the address as NUL-terminated text */
} SMInetAddrStr;

/* ---- Host names -------------------------------------------------------- */

/* The host name into pBuf, *pSize bytes of room: a longer name is cut so that
 * the last byte is a NUL. *pSize becomes the length written + 1. Returns 0;
 * 2 for a null argument; with *pSize 0 nothing is written, *pSize becomes the
 * full name's length + 1 and the result is 16. */
KXSUPT_API SMStatus SMGetIPHostName(char *pBuf, uint32_t *pSize);
/* The host name (read into 64 bytes: longer names are cut to 63) converted to
 * UCS-2 into pBuf, with the sizes in bytes of SMUTF8StrToUCS2Str: a null pBuf
 * measures, 16 when it does not fit (size unchanged). 2 for a null pSize;
 * otherwise the conversion's status. */
KXSUPT_API SMStatus SMUCS2GetIPHostName(uint16_t *pBuf, uint32_t *pSize);
/* The DNS suffix: the text after the first "." of the host's official name as
 * the resolver gives it, or "" when it has no ".". *pSize always becomes the
 * suffix length + 1; a null pBuf then returns 0, a pBuf too small returns 16,
 * else the suffix is copied and the result is 0. 2 for a null pSize, 272 when
 * the work buffer cannot be allocated, SM_STATUS_ERROR when the host name does
 * not resolve (*pSize unchanged). */
KXSUPT_API SMStatus SMGetDNSSuffixNameName(char *pBuf, uint32_t *pSize);

/* ---- Address lists ----------------------------------------------------- */

/* The dotted text of each IPv4 interface address into the 16-byte slots of
 * pSlots while *pCount (the capacity) allows; *pCount becomes the number found,
 * including those that did not fit. pReserved is not used. Returns 0, 16 when
 * some did not fit, 2 for a null pCount, SM_STATUS_ERROR when the socket or the
 * interface list cannot be had. A null pSlots only counts (result 0). */
KXSUPT_API SMStatus SMGetIPAddrStrList(void *pReserved, uint32_t *pCount, char (*pSlots)[16]);
/* IPv4 and/or IPv6 interface addresses into records while *pCount (the
 * capacity) allows; *pCount becomes the total found. mode is one of the
 * SM_NET_ADDR_ values (271 above 2). IPv4 addresses come first, then IPv6
 * ones in the order given above. Returns the status of the last list made: 0,
 * or 16 when its addresses did not all fit (so with SM_NET_ADDR_ALL an IPv4
 * overflow followed by no IPv6 address reports 0: compare the count with the
 * capacity); a failure of the IPv4 list is returned without making the IPv6
 * one. 2 for a null pCount, 272 no memory, SM_STATUS_ERROR as for
 * SMGetIPAddrStrList or when the IPv6 table cannot be read. A null pRecords
 * only counts (result 0). */
KXSUPT_API SMStatus SMGetInetAddrStrList(uint32_t mode, uint32_t *pCount, SMInetAddrStr *pRecords);

/* ---- Address conversions ----------------------------------------------- */

/* Dotted IPv4 text to a network-order address in *pAddress. Lower-case "x" is
 * dropped and leading zeros of each part are ignored (never octal); the text
 * is then read as inet_addr does. An all-ones result is accepted only for
 * "255.255.255.255" and "0xff.0xff.0xff.0xff" in any case; otherwise the
 * result is SM_STATUS_ERROR and *pAddress is untouched. 2 for a null argument,
 * 272 no memory. */
KXSUPT_API SMStatus SMIPAddrASCIIToNetwork(const char *pText, uint32_t *pAddress);
/* Dotted text of a network-order IPv4 address into pBuf. 16 with *pSize set to
 * the size needed when the text and its NUL do not fit; else *pSize becomes
 * the text length + 1. 2 for a null pBuf or pSize. */
KXSUPT_API SMStatus SMIPAddrNetworkToASCII(uint32_t address, char *pBuf, uint32_t *pSize);
/* IPv4 or IPv6 text (as inet_pton reads it) to its 4 or 16 network-order
 * bytes in pBuf; *pSize becomes 4 or 16. 271 for an unknown family or text
 * that is no address; 16 when *pSize is below 4 or 16 (size unchanged); 2 for
 * a null pointer. */
KXSUPT_API SMStatus SMInetAddrUTF8ToNetwork(uint32_t family, const char *pText, void *pBuf,
                                            uint32_t *pSize);
/* The text of a binary address (addrLen 4 for IPv4, 16 for IPv6, as inet_ntop
 * writes it) into pBuf; *pSize becomes the text length + 1. 16 when it does not
 * fit (size unchanged); 271 for an unknown family or a wrong length; 2 for a
 * null pointer. */
KXSUPT_API SMStatus SMInetAddrNetworkToUTF8(uint32_t family, const void *pAddr, uint32_t addrLen,
                                            char *pBuf, uint32_t *pSize);

KXSUPT_END_DECLS

#endif /* KXSUPT_NET_H */
