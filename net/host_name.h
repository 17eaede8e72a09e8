// The local host name in byte and UCS-2 form, and the host's DNS suffix taken
// from the resolver's official name for it. Results go to caller buffers
// under the size in/out convention; statuses as in kxsupt/net.h.
#pragma once

#include <cstdint>

#include "base/status.h"

namespace kx::net {

// Host name into buf (room *size): cut so that the last byte is a NUL, *size
// the length + 1. kInvalidArgs for a null argument; room 0 reports the size
// needed with kBufferTooSmall.
Status GetIPHostName(char *buf, uint32_t *size);
// Host name (cut to 63 bytes) converted to UCS-2, sizes in bytes; a null buf
// measures. kInvalidArgs for a null size, else the conversion's status.
Status UCS2GetIPHostName(uint16_t *buf, uint32_t *size);
// Text after the first "." of the host's official name ("" without one).
// *size becomes its length + 1 whenever the name resolves; a null buf then
// succeeds, a short one gives kBufferTooSmall. kError when it does not resolve.
Status GetDNSSuffixNameName(char *buf, uint32_t *size);

// The room of the work buffer that every host-name lookup reads into.
inline constexpr uint32_t kHostNameRoom = 64;

}  // namespace kx::net
