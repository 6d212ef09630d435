// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1::Text::detail {

/// The scalar that ends at an offset. The offset must be greater than 0 and must not be inside a scalar.
[[nodiscard]] DecodedScalar scalarBefore(std::string_view text, std::size_t offset) noexcept;

/// The nearest cluster boundary before `offset` that is certain from the two scalars beside it, without further
/// context. 0 if there is no such boundary. The offset must be greater than 0 and must not be inside a scalar.
[[nodiscard]] std::size_t certainStart(std::string_view text, std::size_t offset) noexcept;

/// Whether a cluster begins at `offset`. A scalar must begin at this offset.
[[nodiscard]] bool isClusterStart(std::string_view text, std::size_t offset) noexcept;

}  // namespace Tessaly::inline v1::Text::detail
