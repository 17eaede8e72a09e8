// Fuzz target for the key allocation over arbitrary key-registry contents:
// whatever the text, an allocation either refuses or gives a key above the
// floor; a text it edits reads back the same key for the name and gives the
// next new name a different key.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "ipc/key_registry.h"

namespace {

// Stops the run, naming the line of the check that failed.
void Check(bool condition, int line) {
  if (condition) return;
  std::fprintf(stderr, "check failed at line %d\n", line);
  std::abort();
}
#define CHECK(condition) Check(condition, __LINE__)

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  // A lone 0xFF stands for a missing file, which reads as no bytes.
  const bool existed = !(size == 1 && data[0] == 0xFF);
  const std::string_view bytes(reinterpret_cast<const char *>(data), existed ? size : 0);
  std::string edited;
  bool added = false;
  const uint32_t key = kx::ipc::KeyInRegistryText(bytes, existed, "kxsupsmpFUZZ", &edited, &added);
  if (key == 0) return 0;
  CHECK(key > kx::ipc::kKeyFloor || !added);
  if (!added) return 0;
  std::string again;
  bool added_again = true;
  CHECK(kx::ipc::KeyInRegistryText(edited, true, "kxsupsmpFUZZ", &again, &added_again) == key);
  CHECK(!added_again);
  // A name allocated after it gets another key.
  bool other_added = false;
  const uint32_t other =
      kx::ipc::KeyInRegistryText(edited, true, "kxsupevtOTHER", &again, &other_added);
  if (other_added) CHECK(other != key && other > kx::ipc::kKeyFloor);
  return 0;
}
