// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <ranges>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1::Collection {

namespace detail {

/// The system's source of randomness, read in blocks of 256 bytes.
///
/// Thread contract: thread-compatible.
class TESSALY_EXPORT SystemRandom {
 public:
  using result_type = std::uint64_t;

  [[nodiscard]] static constexpr result_type min() noexcept { return 0; }
  [[nodiscard]] static constexpr result_type max() noexcept { return ~result_type{0}; }

  [[nodiscard]] result_type operator()() {
    if (used_ == block_.size()) refill();
    return block_[used_++];
  }

 private:
  void refill();

  std::array<result_type, 32> block_;
  std::size_t used_ = block_.size();
};

/// A uniformly distributed set of distinct indexes below `count` (Floyd's method, Communications of the ACM 30, 1987,
/// 754). Draws exactly `amount` indexes. A draw may call the generator more than once. `amount` must not exceed
/// `count`.
template <typename Generator>
[[nodiscard]] std::unordered_set<std::int64_t> distinctIndexes(std::int64_t count, std::int64_t amount,
                                                               Generator& generator) {
  using Index = std::uniform_int_distribution<std::int64_t>;
  std::unordered_set<std::int64_t> indexes;
  if (amount <= 0) return indexes;
  indexes.reserve(static_cast<std::size_t>(amount));
  for (std::int64_t last = count - amount; last < count; ++last) {
    if (!indexes.insert(Index(0, last)(generator)).second) indexes.insert(last);
  }
  return indexes;
}

}  // namespace detail

/// The elements at `amount` distinct positions, chosen at random, in no particular order. Every set of positions is
/// equally likely. If the collection has at most `amount` elements, the result is all of them in their order. A
/// negative amount gives no elements.
///
/// The nearest standard facility is `std::ranges::sample`, which keeps the order of a forward range's elements. The
/// last argument of `randomElements` is the source of randomness. Without this argument, the system's source is used.
///
/// Cost: O(amount) for a collection with random access and a known size; only the chosen elements are copied. O(n) for
/// any other collection, which is copied as a whole.
///
/// Thread contract: thread-safe, if the generator is.
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
    const auto indexes = detail::distinctIndexes(count, amount, generator);
    chosen.reserve(indexes.size());
    for (const std::int64_t index : indexes) chosen.push_back(elementAt(index));
  } else {
    std::vector<std::ranges::range_value_t<Elements>> all;
    for (auto&& element : elements) all.push_back(std::forward<decltype(element)>(element));
    const auto count = static_cast<std::int64_t>(all.size());
    if (amount >= count) return all;
    // Shuffles indexes, because elements such as those of a map cannot be assigned.
    std::vector<std::size_t> order(all.size());
    for (std::size_t index = 0; index < order.size(); ++index) order[index] = index;
    std::ranges::shuffle(order, generator);
    for (std::int64_t place = count - std::max<std::int64_t>(amount, 0); place < count; ++place) {
      chosen.push_back(std::move(all[order[static_cast<std::size_t>(place)]]));
    }
  }
  return chosen;
}

/// `randomElements` with the system's source of randomness.
template <std::ranges::input_range Elements>
[[nodiscard]] std::vector<std::ranges::range_value_t<Elements>> randomElements(Elements&& elements,
                                                                               std::int64_t amount) {
  return randomElements(std::forward<Elements>(elements), amount, detail::SystemRandom());
}

}  // namespace Tessaly::inline v1::Collection
