// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>
#include <optional>
#include <ranges>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1::Collection {

/// The element at an index. Absent if the collection has no such index. `at` of the standard containers throws instead.
///
/// Thread contract: thread-safe.
///
///     const int third = Collection::ifPresent(std::vector{1, 2}, 2).value_or(0);  // 0
template <std::ranges::random_access_range Elements>
  requires std::ranges::sized_range<Elements>
[[nodiscard]] std::optional<std::ranges::range_value_t<Elements>> ifPresent(Elements&& elements, std::int64_t index) {
  if (index < 0 || index >= static_cast<std::int64_t>(std::ranges::size(elements))) return std::nullopt;
  return std::ranges::begin(elements)[static_cast<std::ranges::range_difference_t<Elements>>(index)];
}

}  // namespace Tessaly::inline v1::Collection
