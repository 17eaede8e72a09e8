// Localized string tables: message texts kept in INI files under a section
// per language family and a key "<language>:<string id>" (upper-case
// hexadecimal without leading zeros), fetched with a fall-back to US
// English; and the OEM remapping that shifts a range of string identifiers
// before the product's own table is consulted.
#pragma once

#include <cstdint>

namespace kx::config {

// Sections of a string table: one for US English (language identifiers 0,
// 437 and 1033, keyed as language 0), one for every other language.
inline constexpr char kDefaultStringSection[] = "ASCII EN_US DEFAULT STRING ID SECTION";
inline constexpr char kOtherStringSection[] = "MISCELLANEOUS STRING ID SECTION";
// The product's string table, under "<ini path of product 35>/ini/".
inline constexpr char kProductStringTable[] = "kxsdst32.ini";
// The OEM configuration, a bare name of the INI engine's file-name form.
inline constexpr char kOemConfigFile[] = "kxisdy32.ini";
inline constexpr char kOemSection[] = "OEM Configuration";

// Texts delivered in place of a string when the lookup cannot be made.
inline constexpr char kInvalidPathText[] = "Invalid Path File Name";
inline constexpr char kNoMemoryText[] = "Failed to allocate memory";

// SMGetUTF8StrFromIDPathFile: the text of `string_id` in the table at
// `path`, for the language *language (a null pointer reads the US English
// section; 0, 437 and 1033 are set to 0 and read it too). A string missing
// in another language is taken from US English and *language becomes 0.
// The text ends at its first CR or LF. Returns its size with terminator, 0
// when it is not found; the size is also stored through `size` (when
// given), and the text is copied when `buffer` is given with at least that
// room. A null path delivers kInvalidPathText, failing allocations
// kNoMemoryText.
uint32_t GetUTF8StrFromIDPathFile(uint32_t string_id, uint32_t *language, const char *path,
                                  char *buffer, uint32_t *size);

// SMGetUCS2StrFromID: the same lookup in the product's string table, after
// the OEM remapping, converted to UCS-2. When `buffer` and `size` are given
// and *size is at least twice the UTF-8 size, the text is converted and
// *size becomes the UCS-2 size in bytes (a text that is not found, or too
// long for the 1,024-byte lookup buffer, converts as the empty text);
// otherwise *size becomes twice the UTF-8 size. Returns the UTF-8 lookup's
// result: the UTF-8 size with terminator, 0 when the string is not found.
uint32_t GetUCS2StrFromID(uint32_t string_id, uint32_t *language, uint16_t *buffer, uint32_t *size);

// The OEM range: identifiers from `base` to `base + range` inclusive get
// `offset` added.
struct OemRange {
  uint32_t base = 2304;
  uint32_t range = 32;
  uint32_t offset = 0;
};

// Reads "BaseID", "oemRange" and "offset" (unsigned 32-bit) from the OEM
// configuration file; each keeps its default when it cannot be read.
OemRange LoadOemRange();
// The identifier after the remapping.
uint32_t RemapOemId(uint32_t string_id, const OemRange &oem);
// Returns the process to the state before its first UCS-2 lookup: the next
// one loads the OEM range again. (The process state that tests start from.)
void ForgetOemRange();

}  // namespace kx::config
