// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/Locale.hpp"

#include <iostream>

namespace Tessaly {

void showLocale() {
  Locale brazilian("pt_BR");
  std::cout << brazilian.language().languageCode()->identifier();  // pt
}

void showLanguageCode() {
  Locale::LanguageCode code("pt");
  std::cout << code;  // pt
}

void showLanguage() {
  Locale::Language language = Locale("root").language();
  bool known = language.languageCode().has_value();  // false
}

void showReplacement() {
  Locale german("de");
  Locale::Replacement replacement(german);
  // Locale::current() is "de" until `replacement` ends.
}

}  // namespace Tessaly
