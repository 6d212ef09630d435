// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

/// The patterns of file names that POSIX.1-2017 describes for the shell (XCU 2.13): "*", "?" and sets in brackets.
namespace Tessaly::inline v1::detail::GlobPattern {

/// Whether a pattern has wildcards or escapes.
[[nodiscard]] constexpr bool hasWildcards(std::string_view pattern) noexcept {
  return pattern.find_first_of("*?[\\") != std::string_view::npos;
}

/// Whether the pattern matches the whole name. Compares byte by byte in every locale. Unlike in the shell, wildcards
/// also match "/" and a "." at the beginning.
[[nodiscard]] TESSALY_EXPORT bool fits(const std::string& pattern, const std::string& name) noexcept;

}  // namespace Tessaly::inline v1::detail::GlobPattern
