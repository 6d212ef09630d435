// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <ranges>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1::Collection {

namespace detail {

/// So many different indexes below a count that is larger. None for a negative amount.
template <typename Generator>
std::unordered_set<std::int64_t> distinctIndexes(std::int64_t count, std::int64_t amount, Generator& generator) {
  std::unordered_set<std::int64_t> indexes;
  if (amount <= 0) return indexes;
  std::uniform_int_distribution<std::int64_t> anyIndex(0, count - 1);
  while (static_cast<std::int64_t>(indexes.size()) < amount) indexes.insert(anyIndex(generator));
  return indexes;
}

}  // namespace detail

/// As many elements as asked for, all different ones, chosen at random and in no particular order; every choice is as
/// likely as any other. All elements, in their order, if there are not more than that. None for a negative amount.
///
/// The nearest standard facility is `std::ranges::sample`, which keeps the order of the elements. Of a collection with
/// random access it copies only what it returns; any other it copies whole. The last argument is the source of chance,
/// by default the system's.
///
/// Thread contract: thread-safe, as long as the generator is.
///
///     std::vector<int> winners = Collection::randomElements(tickets, 3);
template <std::ranges::input_range Elements, typename Generator>
  requires std::uniform_random_bit_generator<std::remove_reference_t<Generator>>
[[nodiscard]] std::vector<std::ranges::range_value_t<Elements>> randomElements(Elements&& elements, std::int64_t amount,
                                                                               Generator&& generator) {
  std::vector<std::ranges::range_value_t<Elements>> chosen;
  if constexpr (std::ranges::random_access_range<Elements> && std::ranges::sized_range<Elements>) {
    const auto count = static_cast<std::int64_t>(std::ranges::size(elements));
    const auto begin = std::ranges::begin(elements);
    const auto elementAt = [&](std::int64_t index) -> decltype(auto) {
      return begin[static_cast<std::ranges::range_difference_t<Elements>>(index)];
    };
    if (amount >= count) {
      chosen.reserve(static_cast<std::size_t>(count));
      for (std::int64_t index = 0; index < count; ++index) chosen.push_back(elementAt(index));
      return chosen;
    }
    for (const std::int64_t index : detail::distinctIndexes(count, amount, generator)) {
      chosen.push_back(elementAt(index));
    }
  } else {
    std::vector<std::ranges::range_value_t<Elements>> all;
    for (auto&& element : elements) all.push_back(std::forward<decltype(element)>(element));
    const auto count = static_cast<std::int64_t>(all.size());
    if (amount >= count) return all;
    for (const std::int64_t index : detail::distinctIndexes(count, amount, generator)) {
      chosen.push_back(std::move(all[static_cast<std::size_t>(index)]));
    }
  }
  return chosen;
}

/// The same with the system's source of chance.
template <std::ranges::input_range Elements>
[[nodiscard]] std::vector<std::ranges::range_value_t<Elements>> randomElements(Elements&& elements,
                                                                               std::int64_t amount) {
  return randomElements(std::forward<Elements>(elements), amount, std::random_device());
}

}  // namespace Tessaly::inline v1::Collection
