// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1::Text::detail {

/// The scalar that ends at an offset, which is greater than 0 and no boundary inside a scalar.
[[nodiscard]] DecodedScalar scalarBefore(std::string_view text, std::size_t offset) noexcept;

/// The greatest offset less than the given one that is a boundary of clusters whatever stands before it.
[[nodiscard]] std::size_t certainStart(std::string_view text, std::size_t offset) noexcept;

/// Whether a cluster begins at an offset where a scalar begins.
[[nodiscard]] bool isClusterStart(std::string_view text, std::size_t offset) noexcept;

}  // namespace Tessaly::inline v1::Text::detail
