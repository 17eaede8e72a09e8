// The NUL-separated name lists of the configuration readers. Names go in
// while they fit; the size out always tells the whole list's size, so a
// caller can grow its buffer and ask again.
#include "config/name_list.h"

#include <algorithm>
#include <cstring>

namespace kx::config {

Status DeliverNameList(const std::vector<std::string_view> &names, char *buffer, uint32_t *size) {
  const uint64_t room = buffer != nullptr ? *size : 0;
  uint64_t needed = 1;
  size_t at = 0;
  bool fits = true;
  for (std::string_view name : names) {
    needed += name.size() + 1;
    fits = fits && at + name.size() + 2 <= room;
    if (fits) {
      std::memcpy(buffer + at, name.data(), name.size());
      buffer[at + name.size()] = '\0';
      at += name.size() + 1;
    }
  }
  if (room > 0) buffer[at] = '\0';
  const bool complete = needed <= room;
  *size = static_cast<uint32_t>(std::min<uint64_t>(needed, UINT32_MAX));
  return complete ? Status::kSuccess : Status::kBufferTooSmall;
}

}  // namespace kx::config
