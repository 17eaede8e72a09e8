// The process's language from LANG, through the language table that the
// typed value translation owns. LANG is read on every call, so a change of
// the environment shows at once.
#include "config/language.h"

#include <stdlib.h>

#include "values/forms.h"

namespace kx::config {

uint32_t GetLocalLanguageID() {
  const char *lang = getenv("LANG");
  return lang != nullptr ? values::LanguageId(lang) : kLanguageUsEnglish;
}

const char *LanguageText(uint32_t id) {
  return values::LanguageName(id);
}

std::string CurrentLanguageText() {
  return LanguageText(GetLocalLanguageID());
}

}  // namespace kx::config
