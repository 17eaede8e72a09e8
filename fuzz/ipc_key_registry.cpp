// Fuzz target for the key allocation over arbitrary key-registry contents:
// whatever the text, an allocation either refuses or gives a key above the
// floor; a text it edits reads back the same key for the name and gives the
// next new name a different key.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "ipc/key_registry.h"

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char *>(data), size);
  const bool existed = size == 0 || data[0] != 0xFF;  // a leading 0xFF stands for no file
  std::string edited;
  bool added = false;
  const uint32_t key = kx::ipc::KeyInRegistryText(bytes, existed, "kxsupsmpFUZZ", &edited, &added);
  if (key == 0) return 0;
  Check(key > kx::ipc::kKeyFloor || !added);
  if (!added) return 0;
  std::string again;
  bool added_again = true;
  Check(kx::ipc::KeyInRegistryText(edited, true, "kxsupsmpFUZZ", &again, &added_again) == key);
  Check(!added_again);
  // A name allocated after it gets another key.
  bool other_added = false;
  const uint32_t other =
      kx::ipc::KeyInRegistryText(edited, true, "kxsupevtOTHER", &again, &other_added);
  if (other_added) Check(other != key && other > kx::ipc::kKeyFloor);
  return 0;
}
