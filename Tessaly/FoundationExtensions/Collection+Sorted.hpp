// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <ranges>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1::Collection {

namespace detail {

/// A stable merge sort. The result contains every item exactly once, even if `comesBefore` is not an order. The sorts
/// of the standard library are not used, for two reasons. With a function that is not an order, `std::sort` may read
/// outside its range. `std::stable_sort` of libstdc++ 12 causes a compiler warning.
template <typename Item, typename Order>
void mergeSort(std::vector<Item>& items, Order comesBefore) {
  std::vector<Item> merged(items.size());
  const auto count = std::ranges::ssize(items);
  for (auto length = decltype(count){1}; length < count; length *= 2) {
    auto out = merged.begin();
    for (auto begin = decltype(count){0}; begin < count; begin += 2 * length) {
      const auto from = items.begin() + begin;
      const auto middle = items.begin() + std::min(begin + length, count);
      const auto end = items.begin() + std::min(begin + 2 * length, count);
      out = std::merge(from, middle, middle, end, out, comesBefore);
    }
    std::swap(items, merged);
  }
}

}  // namespace detail

/// The elements, sorted by a value of each element: a member, a member function, a key path, or any function of an
/// element. `order` says whether the first of two values comes before the second. Elements with equal values keep their
/// order. With an `order` that is not strict, such as `<=`, the elements come in an unspecified sequence. Such an
/// `order` never causes a crash.
///
/// The nearest standard facility is `std::ranges::stable_sort`, which sorts in place.
///
/// Thread contract: thread-safe.
///
///     std::vector<Song> songs = Collection::sorted(album, &Song::title, std::less());
template <std::ranges::input_range Elements, typename KeyPath, typename Order>
  requires std::indirect_strict_weak_order<
      Order, std::projected<std::ranges::iterator_t<std::vector<std::ranges::range_value_t<Elements>>>, KeyPath>>
[[nodiscard]] std::vector<std::ranges::range_value_t<Elements>> sorted(Elements&& elements, KeyPath keyPath,
                                                                       Order order) {
  using Element = std::ranges::range_value_t<Elements>;
  std::vector<Element> unsorted;
  if constexpr (std::ranges::sized_range<Elements>)
    unsorted.reserve(static_cast<std::size_t>(std::ranges::size(elements)));
  for (auto&& element : elements) unsorted.push_back(std::forward<decltype(element)>(element));
  std::vector<Element*> pointers;
  pointers.reserve(unsorted.size());
  for (Element& element : unsorted) pointers.push_back(&element);
  detail::mergeSort(pointers, [&](const Element* left, const Element* right) {
    return std::invoke(order, std::invoke(keyPath, *left), std::invoke(keyPath, *right));
  });
  std::vector<Element> sorted;
  sorted.reserve(pointers.size());
  for (Element* element : pointers) sorted.push_back(std::move(*element));
  return sorted;
}

}  // namespace Tessaly::inline v1::Collection
