// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatting
#pragma once

#include <string>
#include <utility>

#include "Tessaly/Formatting/FormattingService.hpp"

namespace Tessaly::inline v1::FormattingService {

/// The text that a style writes for the values, in the language that `setLanguage` chose. Until a language is chosen,
/// the style's own locale counts. Unlike in `Bytes` and `Duration`, sizes and durations follow the chosen language
/// completely.
///
/// Thread contract: thread-safe.
///
///     FormattingService::setLanguage("de");
///     std::cout << FormattingService::format(CurrencyFormatStyle("EUR"), 9.99);   // 9,99 €
///     std::cout << FormattingService::format(ByteCountFormatStyle(), 1'500'000);  // 1,5 MB
template <typename Style, typename... Values>
[[nodiscard]] std::string format(Style style, Values&&... values) {
  if (auto locale = language()) {
    if constexpr (requires { style.setLocale(locale); }) {
      style.setLocale(locale);
    } else {
      style = style.locale(locale);
    }
  }
  return style.format(std::forward<Values>(values)...);
}

}  // namespace Tessaly::inline v1::FormattingService
