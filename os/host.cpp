// Host facts from the kernel (uname, a zero-time poll of standard input) and
// the platform no-ops.
#include "os/host.h"

#include <poll.h>
#include <strings.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace kx::os {

uint32_t OSTypeFromSystemName(const char *system_name) {
  if (system_name != nullptr && strcasecmp(system_name, "VMkernel") == 0) return kOSTypeVMkernel;
  return kOSTypeLinux;
}

uint32_t OSTypeGet() {
  utsname names;
  if (uname(&names) != 0) return kOSTypeLinux;
  return OSTypeFromSystemName(names.sysname);
}

int32_t kbhit() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  if (poll(&input, 1, 0) != 1) return 0;
  return (input.revents & POLLIN) != 0 ? 1 : 0;
}

int32_t OSShutdown(uint32_t /*mode*/) {
  return 0;
}

int32_t LongFileNamesEnable() {
  return 0;
}

int32_t LongFileNamesDisable() {
  return 0;
}

}  // namespace kx::os
