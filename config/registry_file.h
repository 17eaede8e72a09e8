// Choice of the product registry file. The module attaches by picking the
// first registry file that exists; with none, attach fails and every registry
// lookup finds nothing.
#pragma once

#include <optional>
#include <string>

namespace kx::config {

// The candidate registry files in order of preference: the one named by
// KXSUPT_REGISTRY_FILE when that is set and non-empty (ignored by set-user-ID
// programs), otherwise the two system locations.
std::optional<std::string> ChooseRegistryFile();

// Attach step: chooses the registry file; 0 when none exists.
int RegistryAttach();
void RegistryDetach();

// The chosen registry file, or an empty string while none is chosen.
const std::string &RegistryFile();

// The whole content of the chosen registry file, read afresh; nothing while no
// file is chosen or when it cannot be read.
std::optional<std::string> ReadRegistryFile();

}  // namespace kx::config
