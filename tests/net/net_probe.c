/* A plain C client of the shared library for the attach tests: calls every
 * network function once with valid arguments and prints one line per call,
 * "NAME STATUS" and, for the conversions, the result. Whether the library's
 * modules came up at load is the environment's choice (the product registry). */
#include <kxsupt.h>

#include <stdio.h>
#include <string.h>

int main(void) {
  char text[256];
  uint16_t wide[128];
  uint32_t size;
  uint32_t count;
  uint32_t address = 0;
  uint8_t binary[16];
  char slots[4][16];
  SMInetAddrStr records[4];
  SMStatus status;

  size = sizeof text;
  status = SMGetIPHostName(text, &size);
  printf("SMGetIPHostName %u %s\n", status, status == 0 ? text : "-");
  size = sizeof wide;
  printf("SMUCS2GetIPHostName %u\n", SMUCS2GetIPHostName(wide, &size));
  size = sizeof text;
  printf("SMGetDNSSuffixNameName %u\n", SMGetDNSSuffixNameName(text, &size));
  count = 4;
  printf("SMGetIPAddrStrList %u\n", SMGetIPAddrStrList(NULL, &count, slots));
  count = 4;
  printf("SMGetInetAddrStrList %u\n", SMGetInetAddrStrList(SM_NET_ADDR_ALL, &count, records));
  status = SMIPAddrASCIIToNetwork("192.168.001.010", &address);
  printf("SMIPAddrASCIIToNetwork %u %08x\n", status, address);
  size = sizeof text;
  strcpy(text, "-");
  status = SMIPAddrNetworkToASCII(0x0100007f, text, &size);
  printf("SMIPAddrNetworkToASCII %u %s\n", status, text);
  size = sizeof binary;
  memset(binary, 0, sizeof binary);
  status = SMInetAddrUTF8ToNetwork(SM_NET_FAMILY_IPV6, "::1", binary, &size);
  printf("SMInetAddrUTF8ToNetwork %u %u\n", status, binary[15]);
  size = sizeof text;
  strcpy(text, "-");
  status = SMInetAddrNetworkToUTF8(SM_NET_FAMILY_IPV6, binary, 16, text, &size);
  printf("SMInetAddrNetworkToUTF8 %u %s\n", status, text);
  return 0;
}
