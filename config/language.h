// The process's current language, as the localized-path and string-table
// routines need it. Only the text form is here for now; the language
// identifier queries and string tables complete this module.
#pragma once

#include <string>

namespace kx::config {

// The language text of the process: LANG compared exactly with the product's
// ten language texts, "en_US" when it matches none or is unset.
std::string CurrentLanguageText();

}  // namespace kx::config
