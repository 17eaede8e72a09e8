// Facts about the host and the calls kept only for other platforms: the
// operating-system type, a keyboard poll on standard input, and no-ops.
#pragma once

#include <cstdint>

namespace kx::os {

// Operating-system types that OSTypeGet reports.
inline constexpr uint32_t kOSTypeLinux = 3;
inline constexpr uint32_t kOSTypeVMkernel = 4;

// kOSTypeVMkernel when the kernel's system name is "VMkernel" in any case,
// kOSTypeLinux otherwise (also when the name cannot be read).
uint32_t OSTypeGet();
// The type for a given system name; null reads as an unknown name.
uint32_t OSTypeFromSystemName(const char *system_name);

// 1 when standard input has data ready now, 0 otherwise; never waits.
int32_t kbhit();

// Kept for other platforms: do nothing and return 0.
int32_t OSShutdown(uint32_t mode);
int32_t LongFileNamesEnable();
int32_t LongFileNamesDisable();

}  // namespace kx::os
