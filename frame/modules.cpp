// The attach order of the library's modules. Detach runs in exact reverse.
// A module that is not part of this build is simply absent from the chain.
#include "frame/modules.h"

#include "codec/crc32.h"
#include "format/format.h"
#include "config/registry_file.h"
#include "net/module.h"

namespace kx::frame {

namespace {

constexpr ModuleStep kSteps[] = {
    // 1. Product registry: chooses the registry file.
    {"product registry", &config::RegistryAttach, &config::RegistryDetach},
    // 2. Install paths.
    // 3. Network addresses: the network functions answer only while it is up.
    {"network addresses", &net::NetworkAttach, &net::NetworkDetach},
    // 4. IPC layer.
    // 5. Critical sections.
    // 6. Event log.
    // 7. Formatted output: the formatter's mutex.
    {"formatted output", &format::FormatAttach, &format::FormatDetach},
    // 8. Function-table libraries.
    // 9. CRC-32 table.
    {"CRC-32 table", &codec::Crc32TableAttach, &codec::Crc32TableDetach},
};

}  // namespace

std::span<const ModuleStep> ModuleChain() {
  return kSteps;
}

}  // namespace kx::frame
