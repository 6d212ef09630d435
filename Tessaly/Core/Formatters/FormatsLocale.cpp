// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/FormatsLocale.hpp"

#include <cstdlib>
#include <string_view>

namespace Tessaly::inline v1::FormatsLocale {
namespace {

Locale localeOf(const char* category) {
  for (const char* name : {"LC_ALL", category, "LANG"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return Locale(detail::identifierOfSystemLocale(value));
  }
  return Locale(detail::identifierOfSystemLocale(""));
}

}  // namespace

Locale time() { return localeOf("LC_TIME"); }
Locale numeric() { return localeOf("LC_NUMERIC"); }
Locale monetary() { return localeOf("LC_MONETARY"); }
Locale measurement() { return localeOf("LC_MEASUREMENT"); }

}  // namespace Tessaly::inline v1::FormatsLocale
