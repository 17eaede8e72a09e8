/* A loadable library with a reference no loaded object defines: immediate
 * binding refuses to load it, lazy binding would not. */
#include <stdint.h>

extern int32_t KxTestSymbolDefinedNowhere(void);

__attribute__((visibility("default"))) int32_t KxTestCallsNowhere(void) {
  return KxTestSymbolDefinedNowhere();
}
