// The INI file engine: typed reads and writes of one key, section and key
// lists, key and section removal, by full path or by a bare name under the
// product's ini directory. Every call opens the file under the library's
// file lock (read mode for reads, write mode for writes), works on it and
// closes it; nothing is cached, so the next call sees any process's change.
// Writes swap in a complete copy (config/file_rewrite.h).
//
// The `flags` argument of every routine chooses the lock wait: 1 waits
// without limit, anything else tries once.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/status.h"
#include "kxsupt/values.h"

namespace kx::config {

// SMReadINIPathFileValue: reads the key's value as `type` (1 to 9) into
// `value` (*size bytes of room; the bytes produced out). Type 1 with a null
// section lists the sections, with a null key the section's keys (each name
// followed by a NUL, the list closed by another). On failure the default, if
// given, is copied (type 1: at most *size bytes, the last forced to NUL;
// other types: their width) and the failure status stays. Statuses: 2 bad
// arguments; 16 the value or list does not fit (size out = needed); 260 file
// cannot be opened; 261 malformed header; 262 section absent; 263 key
// absent; 264 / all ones / 290 / 291 stored text does not convert; 272 or the
// lock's status when the lock cannot be taken.
Status ReadINIPathFileValue(const char *section, const char *key, uint32_t type, void *value,
                            uint32_t *size, const void *default_value, uint32_t default_size,
                            const char *path, uint32_t flags);

// SMWriteINIPathFileValue: sets or adds the key (the value turned into text
// as `type`); a null value with size 0 removes the key, a null key removes
// the whole section. Statuses: 2 bad arguments or names over 255 bytes; 264
// value and size disagree (or nothing to remove in a missing section); all
// ones when the directory cannot be created; statuses of the rewrite.
Status WriteINIPathFileValue(const char *section, const char *key, uint32_t type, const void *value,
                             uint32_t size, const char *path, uint32_t flags);

// SMReadINIFileValue / SMWriteINIFileValue: as above for a bare file name in
// "<ini path of product 35>/ini/". All ones when the ini path is unknown or
// empty, 16 when the combined path would not fit 256 bytes.
Status ReadINIFileValue(const char *section, const char *key, uint32_t type, void *value,
                        uint32_t *size, const void *default_value, uint32_t default_size,
                        const char *file, uint32_t flags);
Status WriteINIFileValue(const char *section, const char *key, uint32_t type, const void *value,
                         uint32_t size, const char *file, uint32_t flags);

// SMReadINISectionKeyUTF8Value: the text value in a buffer from the library's
// heap (grown once, up to 32,768 bytes, when it does not fit). Null with size
// 0 on failure, except that the default comes back when it was used.
char *ReadINISectionKeyUTF8Value(const char *section, const char *key, const char *default_text,
                                 uint32_t *size_out, const char *path, uint32_t flags);

// SMReadINIEnums32Value: the value of the table row whose text matches the
// stored text (without case; row 0 answers no match, row 1 an unreadable
// key); with multiple == 1 the comma-separated tokens' values ORed together.
// 0x80000000 for bad arguments.
uint32_t ReadINIEnums32Value(const char *section, const char *key, const SMEnum32Entry *table,
                             uint32_t count, uint32_t multiple, const char *path, uint32_t flags);

// Internal conveniences over the same engine, for the library's own files
// (the IPC key registry, string tables). Statuses as above.
Status IniReadText(const char *path, const char *section, const char *key, std::string *value,
                   uint32_t flags);
Status IniWriteText(const char *path, const char *section, const char *key, const char *value,
                    uint32_t flags);
Status IniDeleteKey(const char *path, const char *section, const char *key, uint32_t flags);
Status IniDeleteSection(const char *path, const char *section, uint32_t flags);
Status IniListSections(const char *path, std::vector<std::string> *names, uint32_t flags);
Status IniListKeys(const char *path, const char *section, std::vector<std::string> *keys,
                   uint32_t flags);

}  // namespace kx::config
