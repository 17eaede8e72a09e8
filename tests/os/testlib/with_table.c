/* A loadable library with the export table the library tests look up: a
 * count and two functions, plus a plain function. */
#include <stdint.h>

static int32_t Add(int32_t a, int32_t b) {
  return a + b;
}

static int32_t Version(void) {
  return 7;
}

struct KxTestExportTable {
  uint32_t count;
  int32_t (*add)(int32_t, int32_t);
  int32_t (*version)(void);
};

__attribute__((visibility("default")))
const struct KxTestExportTable KxTestExportTable = {2, Add, Version};

__attribute__((visibility("default"))) int32_t KxTestAnswer(void) {
  return 42;
}
