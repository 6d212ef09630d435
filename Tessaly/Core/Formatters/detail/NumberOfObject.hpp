// SPDX-License-Identifier: MIT
#pragma once

#include <any>
#include <cstdint>
#include <optional>

#include "Tessaly/Core/Foundation/NSNumber.hpp"

namespace Tessaly::inline v1::detail {

/// The number in an `NSNumber`, `bool`, `float`, `double` or a standard integer type. Absent for every other object,
/// including a `char` or a `long double`.
[[nodiscard]] inline std::optional<NSNumber> numberOfObject(const std::any& object) noexcept {
  std::optional<NSNumber> result;
  const auto tryKind = [&]<typename Number>() {
    if (const auto* number = std::any_cast<Number>(&object)) result.emplace(*number);
    return result.has_value();
  };
  const auto tryKinds = [&]<typename... Numbers>() { return (tryKind.template operator()<Numbers>() || ...); };
  static_cast<void>(
      tryKinds.template operator()<NSNumber, double, float, std::int64_t, long long, int, short, signed char,
                                   std::uint64_t, unsigned long long, unsigned, unsigned short, unsigned char, bool>());
  return result;
}

}  // namespace Tessaly::inline v1::detail
