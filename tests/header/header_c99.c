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
  {
    uint64_t diff = 0;
    uint16_t elapsed = 9, exceeded = 9;
    uint32_t type = SMOSTypeGet();
    if (type != 3 && type != 4) return 5;
    if (SMRefTicksDiffCheckTimer(100, 350, 200, &diff, &elapsed, &exceeded) != 1) return 6;
    if (diff != 250 || elapsed != 1 || exceeded != 1) return 7;
  }
  puts("ok");
  return 0;
}
