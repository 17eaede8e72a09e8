// Exported entry points of the formatter.
#include "kxsupt/format.h"

#include "format/format.h"

extern "C" {

int32_t SMsnprintf(char *pDest, uint32_t size, const char *pFormat, ...) {
  va_list args;
  va_start(args, pFormat);
  const int32_t stored = kx::format::vsnprintf(pDest, size, pFormat, args);
  va_end(args);
  return stored;
}
int32_t SMvsnprintf(char *pDest, uint32_t size, const char *pFormat, va_list args) {
  return kx::format::vsnprintf(pDest, size, pFormat, args);
}

}  // extern "C"
