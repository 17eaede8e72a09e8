// The process's language: LANG mapped to the product's numeric language
// identifiers and back. The table itself (1033 en_US, 2057 en_GB, 1031 de,
// 1034 es, 1036 fr, 1041 ja, 2066 ko, 1046 pt_BR, 2052 zh, 1028 zh_TW) is
// shared with the typed value translation, which writes identifiers as
// these texts. The string tables (config/string_table.h) and the localized
// file names of the registry build on it.
#pragma once

#include <cstdint>
#include <string>

namespace kx::config {

// US English, the language of every unknown text or identifier.
inline constexpr uint32_t kLanguageUsEnglish = 1033;

// SMGetLocalLanguageID: LANG compared exactly (with case, as a whole) with
// the table's texts; 1033 when it matches none or is unset, so "en_US.UTF-8"
// is 1033 too.
uint32_t GetLocalLanguageID();

// The text of an identifier; "en_US" for one not in the table.
const char *LanguageText(uint32_t id);

// The language text of the process, as a copy: the text of
// GetLocalLanguageID().
std::string CurrentLanguageText();

}  // namespace kx::config
