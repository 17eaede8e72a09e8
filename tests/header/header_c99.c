/* A plain C99 client: the whole public header must compile in strict mode and
 * its functions must bind to the shared library. */
#include <kxsupt.h>

#include <stdio.h>

int main(void) {
  uint32_t context = 99;
  void *block;
  SMGetExportContext(&context);
  if (context != 0) return 1;
  if (SUPTGetMajorVersion() != 1 || SUPTGetMinorVersion() != 1 || SUPTGetRevision() != 1) return 2;
  block = SMAllocMem(32);
  if (block == NULL) return 3;
  block = SMReAllocMem(block, 64);
  if (block == NULL) return 4;
  SMFreeGeneric(block);
  puts("ok");
  return 0;
}
