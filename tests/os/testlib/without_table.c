/* A loadable library that lacks the export table: only a plain function. */
#include <stdint.h>

__attribute__((visibility("default"))) int32_t KxTestAnswer(void) {
  return 43;
}
