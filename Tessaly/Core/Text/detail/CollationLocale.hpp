// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1::detail {

/// The identifier of the locale for sorting. In ICU, "en_US_POSIX" has the order of the bytes, with "Z" before "a". If
/// the environment names no locale, the current locale has that identifier. To avoid the order of the bytes even then,
/// "root" replaces identifiers that end with "POSIX".
[[nodiscard]] inline std::string collationIdentifier(const Locale& locale) {
  return locale.identifier().ends_with("POSIX") ? "root" : locale.identifier();
}

}  // namespace Tessaly::inline v1::detail
