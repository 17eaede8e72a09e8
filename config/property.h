// Property files: typed reads and writes of one key in a file of key/value
// lines (config/property_text.h has the grammar), and the list of its keys.
// Values are turned into text and back by the typed value translation (XLT).
// Every call works under the INI engine's file locks (read mode for reads,
// write mode for writes) and writes through its crash-safe rewrite.
//
// The `flags` argument chooses the lock wait: 1 waits without limit,
// anything else tries once.
#pragma once

#include <cstdint>

#include "base/status.h"

namespace kx::config {

// SMPropertyFileReadValue: the value of the first line whose key `key`
// begins with, converted to the XLT `type` into `value` (*size bytes of
// room; the value's size out). A null key with type code 13 lists the keys
// instead (each followed by a NUL, the list closed by another); a null key
// with any other type is 2 and reads nothing. On any failure, a default
// with a non-zero size that fits the caller's room is copied and *size
// becomes its size; the failure status stays. Statuses: 271 null size or
// path; 260 file cannot be opened; 263 key absent, or no key to list; 16
// value or list does not fit (size out = needed); XLT statuses (271, 290,
// 291, ...) for text that does not convert; 272 no memory or the lock
// cannot be made, else the lock's status.
Status PropertyFileReadValue(const char *key, uint32_t type, void *value, uint32_t *size,
                             const void *default_value, uint32_t default_size, const char *path,
                             uint32_t flags);

// SMPropertyFileWriteValue: replaces the first line whose key `key` begins
// with (and its continuation lines) by "key=<text of the value>". When no
// line matches, the file is rewritten empty. The file must exist. Statuses:
// 271 null key, value or path; 260 file cannot be opened; XLT statuses for a
// value that has no text; 272 no memory or the lock cannot be made, else the
// lock's status; 7, 19, 258, 270 and all ones from the rewrite.
Status PropertyFileWriteValue(const char *key, uint32_t type, const void *value,
                              uint32_t value_size, const char *path, uint32_t flags);

}  // namespace kx::config
