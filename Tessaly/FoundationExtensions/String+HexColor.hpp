// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::String {

/// The components of a colour, from 0 to 255.
struct ColorIntegerComponents {
  std::int64_t red = 0;
  std::int64_t green = 0;
  std::int64_t blue = 0;
  std::int64_t alpha = 255;

  friend bool operator==(const ColorIntegerComponents&, const ColorIntegerComponents&) noexcept = default;
};

/// The components of a colour, from 0.0 to 1.0.
struct ColorComponents {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;

  friend bool operator==(const ColorComponents&, const ColorComponents&) noexcept = default;
};

/// Parses a hexadecimal colour, with or without "#": RGB, RGBA, RRGGBB or RRGGBBAA, in upper or lower case. Absent for
/// any other text. Digits that are not ASCII are refused. Allocates nothing.
///
/// Thread contract: thread-safe.
///
///     const auto orange = String::hexColorIntegerComponents("#F80");  // 255, 136, 0, 255
[[nodiscard]] TESSALY_EXPORT std::optional<ColorIntegerComponents> hexColorIntegerComponents(
    std::string_view text) noexcept;

/// `hexColorIntegerComponents` with each component divided by 255.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::optional<ColorComponents> hexColorComponents(std::string_view text) noexcept;

}  // namespace Tessaly::inline v1::String
