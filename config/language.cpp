// The current language from LANG, through the typed-value language table.
// Minimal for the localized paths; the string-table routines extend it with
// the identifier queries.
#include "config/language.h"

#include <stdlib.h>

#include "values/forms.h"

namespace kx::config {

std::string CurrentLanguageText() {
  const char *lang = getenv("LANG");
  // An unknown or missing LANG is US English, whose identifier is the table's
  // default.
  return values::LanguageName(values::LanguageId(lang != nullptr ? lang : ""));
}

}  // namespace kx::config
