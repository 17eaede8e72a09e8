// String-table lookups through the INI engine (type 1 reads, waiting for the
// lock), the US English fall-back, the size protocol of the UTF-8 result, the
// UCS-2 form of the product's table, and the OEM remapping loaded once per
// process.
#include "config/string_table.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/memory.h"
#include "config/ini.h"
#include "config/ini_values.h"
#include "config/language.h"
#include "config/registry.h"
#include "text/utf.h"

namespace kx::config {

namespace {

// Rooms of the lookup, terminators included.
constexpr uint32_t kValueRoom = 2048;
constexpr uint32_t kKeyRoom = 256;
constexpr uint32_t kUcs2LookupRoom = 1024;
constexpr uint32_t kTablePathRoom = 256;
constexpr uint32_t kWaitForLock = 1;

// The identifiers that read the US English section.
bool IsUsEnglish(uint32_t language) {
  return language == 0 || language == 437 || language == kLanguageUsEnglish;
}

// Reads "<language>:<id>" of `section` into `value` (kValueRoom bytes).
bool ReadString(const char *path, const char *section, uint32_t language, uint32_t string_id,
                char *key, char *value) {
  std::snprintf(key, kKeyRoom, "%X:%X", language, string_id);
  uint32_t size = kValueRoom;
  return Ok(
      ReadINIPathFileValue(section, key, kIniText, value, &size, nullptr, 0, path, kWaitForLock));
}

// The size protocol of the result: length + 1 returned and stored; the text
// copied when the buffer holds it.
uint32_t Deliver(std::string_view text, char *buffer, uint32_t *size) {
  const uint32_t needed = static_cast<uint32_t>(text.size() + 1);
  if (buffer != nullptr && size != nullptr && *size >= needed) {
    std::memcpy(buffer, text.data(), text.size());
    buffer[text.size()] = '\0';
  }
  if (size != nullptr) *size = needed;
  return needed;
}

// The OEM range of the process, loaded on the first call that finds the base
// still 0. Concurrent first calls may both load; each stores whole values.
std::atomic<uint32_t> g_oem_base{0};
std::atomic<uint32_t> g_oem_range{OemRange{}.range};
std::atomic<uint32_t> g_oem_offset{OemRange{}.offset};

OemRange ProcessOemRange() {
  if (g_oem_base.load(std::memory_order_acquire) == 0) {
    const OemRange loaded = LoadOemRange();
    g_oem_range.store(loaded.range, std::memory_order_relaxed);
    g_oem_offset.store(loaded.offset, std::memory_order_relaxed);
    g_oem_base.store(loaded.base, std::memory_order_release);
  }
  OemRange oem;
  oem.base = g_oem_base.load(std::memory_order_acquire);
  oem.range = g_oem_range.load(std::memory_order_relaxed);
  oem.offset = g_oem_offset.load(std::memory_order_relaxed);
  return oem;
}

// One unsigned value of the OEM section, or `fallback`.
uint32_t ReadOemValue(const char *key, uint32_t fallback) {
  uint32_t value = fallback;
  uint32_t size = sizeof value;
  if (!Ok(ReadINIFileValue(kOemSection, key, kIniUInt32, &value, &size, &fallback, sizeof fallback,
                           kOemConfigFile, kWaitForLock))) {
    value = fallback;
  }
  return value;
}

// "<ini path of product 35>/ini/kxsdst32.ini", false when the path is
// unknown or does not fit its 256 bytes.
bool ProductTablePath(char path[kTablePathRoom]) {
  char directory[kTablePathRoom];
  uint32_t size = sizeof directory;
  if (!Ok(GetPathByProductIDandType(kProductWexbridge, kPathIni, directory, &size))) return false;
  const int length =
      std::snprintf(path, kTablePathRoom, "%s/ini/%s", directory, kProductStringTable);
  return length > 0 && static_cast<uint32_t>(length) < kTablePathRoom;
}

}  // namespace

uint32_t GetUTF8StrFromIDPathFile(uint32_t string_id, uint32_t *language, const char *path,
                                  char *buffer, uint32_t *size) {
  if (path == nullptr) return Deliver(kInvalidPathText, buffer, size);
  auto *value = static_cast<char *>(base::AllocMem(kValueRoom));
  auto *key = static_cast<char *>(base::AllocMem(kKeyRoom));
  if (value == nullptr || key == nullptr) {
    base::FreeMem(value);
    base::FreeMem(key);
    return Deliver(kNoMemoryText, buffer, size);
  }
  bool found;
  if (language == nullptr) {
    found = ReadString(path, kDefaultStringSection, 0, string_id, key, value);
  } else {
    if (IsUsEnglish(*language)) *language = 0;
    const bool us_english = *language == 0;
    found = ReadString(path, us_english ? kDefaultStringSection : kOtherStringSection, *language,
                       string_id, key, value);
    if (!found && !us_english) {
      *language = 0;
      found = ReadString(path, kDefaultStringSection, 0, string_id, key, value);
    }
  }
  uint32_t result = 0;
  if (found) {
    const std::string_view text(value, std::strcspn(value, "\r\n"));
    result = Deliver(text, buffer, size);
  } else if (size != nullptr) {
    *size = 0;
  }
  base::FreeMem(value);
  base::FreeMem(key);
  return result;
}

uint32_t GetUCS2StrFromID(uint32_t string_id, uint32_t *language, uint16_t *buffer,
                          uint32_t *size) {
  const uint32_t remapped = RemapOemId(string_id, ProcessOemRange());
  char path[kTablePathRoom];
  const bool have_path = ProductTablePath(path);
  char utf8[kUcs2LookupRoom] = {};
  uint32_t utf8_size = sizeof utf8;
  const uint32_t found =
      GetUTF8StrFromIDPathFile(remapped, language, have_path ? path : nullptr, utf8, &utf8_size);
  if (size == nullptr) return found;
  const uint64_t doubled = 2ull * found;
  if (buffer != nullptr && *size >= doubled) {
    (void)text::UTF8StrToUCS2Str(buffer, size, utf8);
  } else {
    *size = static_cast<uint32_t>(doubled);
  }
  return found;
}

OemRange LoadOemRange() {
  const OemRange defaults;
  OemRange oem;
  oem.base = ReadOemValue("BaseID", defaults.base);
  oem.range = ReadOemValue("oemRange", defaults.range);
  oem.offset = ReadOemValue("offset", defaults.offset);
  return oem;
}

uint32_t RemapOemId(uint32_t string_id, const OemRange &oem) {
  const bool in_range = string_id >= oem.base && static_cast<uint64_t>(string_id) <=
                                                     static_cast<uint64_t>(oem.base) + oem.range;
  return in_range ? string_id + oem.offset : string_id;
}

void ForgetOemRange() {
  g_oem_base.store(0, std::memory_order_release);
}

}  // namespace kx::config
