// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

/// The patterns of names of files that POSIX.1-2017 describes for the shell (XCU 2.13): "*", "?" and sets in brackets.
/// Unlike `fnmatch` they are matched byte by byte, whatever the locale, and in at most as many steps as the lengths of
/// pattern and name multiplied.
namespace Tessaly::inline v1::detail::GlobPattern {

/// Whether a pattern is more than a plain text.
[[nodiscard]] constexpr bool hasWildcards(std::string_view pattern) noexcept {
  return pattern.find_first_of("*?[\\") != std::string_view::npos;
}

/// Whether a whole name is as the pattern says.
[[nodiscard]] TESSALY_EXPORT bool fits(std::string_view pattern, std::string_view name) noexcept;

}  // namespace Tessaly::inline v1::detail::GlobPattern
