// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1::detail {

/// The identifier of the locale whose order people read. "en_US_POSIX", the locale of an environment that names none,
/// has the order of the bytes in ICU, with "Z" before "a". So it takes the root's.
[[nodiscard]] inline std::string collationIdentifier(const Locale& locale) {
  return locale.identifier().ends_with("POSIX") ? "root" : locale.identifier();
}

}  // namespace Tessaly::inline v1::detail
