// Copies of environment variables in memory the caller releases with the
// library's memory services.
#pragma once

#include <cstdint>

namespace kx::os {

// A new copy of variable name's value, null when name is null, the variable
// is absent or empty, or memory is short. A non-null size receives the copy's
// size including its terminating zero.
char *EnvDup(const char *name, uint32_t *size);

}  // namespace kx::os
