// Separated-value lists: one list separator rewritten into another, items
// trimmed and empty items dropped. The parameter enumeration and the INI
// engine split their multi-valued texts with it.
#include <cstddef>
#include <cstring>
#include <limits>

#include "base/memory.h"
#include "values/translation.h"

namespace kx::values {

namespace {

constexpr bool IsListBlank(char c) {
  return c == '\t' || c == '\n' || c == '\r' || c == ' ';
}

void SetOuts(uint32_t *count, uint32_t *size, uint32_t count_value, uint32_t size_value) {
  if (count != nullptr) *count = count_value;
  if (size != nullptr) *size = size_value;
}

}  // namespace

char *UTF8ConvertXSVToYSV(const char *text, char from, char to, uint32_t *count, uint32_t *size) {
  SetOuts(count, size, 0, 0);
  if (text == nullptr) return nullptr;
  const size_t length = std::strlen(text);
  if (length > std::numeric_limits<uint32_t>::max() - 2) return nullptr;
  // Every item is followed by one separator and items are separated by at
  // least one byte, so length + 2 always holds the result and its terminator.
  auto *result = static_cast<char *>(kx::base::AllocMem(static_cast<uint32_t>(length + 2)));
  if (result == nullptr) return nullptr;

  uint32_t items = 0;
  size_t written = 0;
  const char *const end = text + length;
  for (const char *item = text; item <= end;) {
    // A separator of 0 never occurs inside the text: the whole text is one item.
    const char *stop =
        from == 0 ? end : static_cast<const char *>(std::memchr(item, from, end - item));
    if (stop == nullptr) stop = end;
    const char *first = item;
    const char *last = stop;
    while (first < last && IsListBlank(*first)) ++first;
    while (last > first && IsListBlank(last[-1])) --last;
    if (first < last) {
      std::memcpy(result + written, first, last - first);
      written += last - first;
      result[written++] = to;
      ++items;
    }
    item = stop + 1;
  }
  result[written] = 0;
  SetOuts(count, size, items, static_cast<uint32_t>(written + 1));
  return result;
}

}  // namespace kx::values
