// The list form shared by the configuration readers (INI sections and keys,
// property-file keys): names in file order, each followed by a NUL, the list
// closed by one more NUL, in the caller's buffer.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/status.h"

namespace kx::config {

// Copies the names into `buffer` (*size bytes of room) while each fits with
// room left for the closing NUL, then closes the list. *size out is always
// the full size needed (1 + every name's length + 1). 16 when the whole list
// does not fit. A null buffer, or a room of 0 bytes, only measures.
Status DeliverNameList(const std::vector<std::string_view> &names, char *buffer, uint32_t *size);

}  // namespace kx::config
