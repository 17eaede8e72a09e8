// The attach order of the library's modules. Detach runs in exact reverse.
// A module that is not part of this build is simply absent from the chain.
#include "frame/modules.h"

#include "codec/crc32.h"
#include "config/registry.h"
#include "format/format.h"
#include "ipc/key_registry.h"
#include "log/max_size.h"
#include "net/module.h"
#include "os/critical_section.h"
#include "os/library.h"

namespace kx::frame {

namespace {

constexpr ModuleStep kSteps[] = {
    // 1. Product registry: chooses the registry file, creates its mutex and cache.
    {"product registry", &config::RegistryModuleAttach, &config::RegistryModuleDetach},
    // 2. Install paths: fills the cache from the registry.
    {"install paths", &config::InstallPathsAttach, &config::InstallPathsDetach},
    // 3. Network addresses: the network functions answer only while it is up.
    {"network addresses", &net::NetworkAttach, &net::NetworkDetach},
    // 4. IPC layer: the IPC paths; removes the unnamed semaphore sets of dead processes.
    {"IPC layer", &ipc::IpcAttach, &ipc::IpcDetach},
    // 5. Critical sections: the table behind SMCriticalSectionExecute.
    {"critical sections", &os::CriticalSectionAttach, &os::CriticalSectionDetach},
    // 6. Event log: the maximum-size table's mutex.
    {"event log", &log::EventLogAttach, &log::EventLogDetach},
    // 7. Formatted output: the formatter's mutex.
    {"formatted output", &format::FormatAttach, &format::FormatDetach},
    // 8. Function-table libraries: the shared library table.
    {"function-table libraries", &os::FLibTableAttach, &os::FLibTableDetach},
    // 9. CRC-32 table.
    {"CRC-32 table", &codec::Crc32TableAttach, &codec::Crc32TableDetach},
};

}  // namespace

std::span<const ModuleStep> ModuleChain() {
  return kSteps;
}

}  // namespace kx::frame
