// Helpers shared by the text tests: terminated UCS-2 buffers with sentinels
// after them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kx_text_test {

using Buffer = std::vector<uint16_t>;

// `text` with its terminator, then `spare` sentinel units 0xAAAA.
inline Buffer Terminated(const std::u16string &text, size_t spare = 0) {
  Buffer units(text.begin(), text.end());
  units.push_back(0);
  units.insert(units.end(), spare, 0xAAAA);
  return units;
}

}  // namespace kx_text_test
