// The environment copy: measure, allocate, copy.
#include "os/environment.h"

#include <cstdlib>
#include <cstring>

#include "base/memory.h"

namespace kx::os {

char *EnvDup(const char *name, uint32_t *size) {
  if (name == nullptr) return nullptr;
  const char *value = std::getenv(name);
  if (value == nullptr || *value == '\0') return nullptr;
  const size_t needed = std::strlen(value) + 1;
  if (needed > UINT32_MAX) return nullptr;
  auto *copy = static_cast<char *>(base::AllocMem(needed));
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, value, needed);
  if (size != nullptr) *size = static_cast<uint32_t>(needed);
  return copy;
}

}  // namespace kx::os
