// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1::Text::detail {

/// The scalar that ends at an offset. The offset must be greater than 0 and must not be inside a scalar.
[[nodiscard]] DecodedScalar scalarBefore(std::string_view text, std::size_t offset) noexcept;

/// The nearest earlier cluster boundary that follows from the two adjacent scalars alone. 0 if there is no such
/// boundary.
[[nodiscard]] std::size_t certainStart(std::string_view text, std::size_t offset) noexcept;

/// Whether a cluster begins at the offset of a scalar.
[[nodiscard]] bool isClusterStart(std::string_view text, std::size_t offset) noexcept;

}  // namespace Tessaly::inline v1::Text::detail
