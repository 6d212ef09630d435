// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <ranges>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// An entry of an alphabetical index: the upper-case letter, and the item to which the entry leads.
template <typename T>
struct AlphabetItem {
  std::string letter;
  T item;

  friend bool operator==(const AlphabetItem&, const AlphabetItem&) = default;
};

/// The entries of an alphabetical index beside a sorted list.
namespace AlphabetHelpers {

/// The lower-case letters from "a" to "z".
inline constexpr std::array<std::string_view, 26> alphabet{"a", "b", "c", "d", "e", "f", "g", "h", "i",
                                                           "j", "k", "l", "m", "n", "o", "p", "q", "r",
                                                           "s", "t", "u", "v", "w", "x", "y", "z"};

namespace detail {

/// The lower-case form of an identifier's first character. For an empty identifier, the result is empty and the log
/// gets a record.
[[nodiscard]] TESSALY_EXPORT std::string sectionKey(std::string_view identifier);
[[nodiscard]] TESSALY_EXPORT std::string entryLetter(std::string_view letter);

}  // namespace detail

/// One entry for each letter of the alphabet, in order. An entry leads to the first item whose identifier begins with
/// the entry's letter, in upper or lower case. Without such an item, the first entry leads to the first item, and any
/// other entry leads to the target of the previous entry. Without items there are no entries.
///
/// Each letter of the alphabet is compared with the lower-case form of an identifier's first character. So the alphabet
/// must be in lower case. An item whose identifier begins with a character outside the alphabet, such as an accented
/// letter, matches no entry. An empty identifier is logged, and its item matches no entry. If the main bundle has no
/// identifier, this logging stops the process. An item that matches no entry is a target only if it is the first item.
/// Ill-formed UTF-8 counts as U+FFFD.
///
/// Thread contract: thread-safe. Calls `sectionIdentifier` once for each item, from the last to the first.
///
///     const std::vector<std::string> fruits{"apple", "avocado", "cherry"};
///     const auto index = AlphabetHelpers::generateAlphabetItems(fruits, AlphabetHelpers::alphabet, std::identity());
///     // A leads to apple, B too, C and all that follow to cherry.
template <std::ranges::bidirectional_range Items, std::ranges::input_range Alphabet, typename SectionIdentifier>
  requires std::convertible_to<std::ranges::range_reference_t<Alphabet>, std::string_view> &&
           std::convertible_to<std::invoke_result_t<SectionIdentifier&, std::ranges::range_reference_t<const Items>>,
                               std::string_view>
[[nodiscard]] std::vector<AlphabetItem<std::ranges::range_value_t<Items>>> generateAlphabetItems(
    const Items& items, Alphabet&& alphabet, SectionIdentifier sectionIdentifier) {
  std::vector<AlphabetItem<std::ranges::range_value_t<Items>>> entries;
  const auto first = std::ranges::begin(items);
  auto at = std::ranges::next(first, std::ranges::end(items));
  if (at == first) return entries;

  std::unordered_map<std::string, std::ranges::iterator_t<const Items>> sections;
  while (at != first) {
    --at;
    std::string key = detail::sectionKey(std::invoke(sectionIdentifier, *at));
    if (!key.empty()) sections.insert_or_assign(std::move(key), at);
  }
  auto current = first;
  for (auto&& entry : alphabet) {
    const std::string letter{std::string_view(entry)};
    if (const auto section = sections.find(letter); section != sections.end()) current = section->second;
    entries.push_back({detail::entryLetter(letter), *current});
  }
  return entries;
}

/// `generateAlphabetItems` for an alphabet in braces: `{"a", "ä", "b"}`.
template <std::ranges::bidirectional_range Items, typename SectionIdentifier>
[[nodiscard]] auto generateAlphabetItems(const Items& items, std::initializer_list<std::string_view> alphabet,
                                         SectionIdentifier sectionIdentifier) {
  return generateAlphabetItems<Items, const std::initializer_list<std::string_view>&>(items, alphabet,
                                                                                      std::move(sectionIdentifier));
}

}  // namespace AlphabetHelpers

}  // namespace Tessaly::inline v1

template <typename T>
  requires requires(const T& item) { std::hash<T>()(item); }
struct std::hash<Tessaly::AlphabetItem<T>> {
  std::size_t operator()(const Tessaly::AlphabetItem<T>& entry) const {
    const std::size_t seed = std::hash<std::string>()(entry.letter);
    return seed ^ (std::hash<T>()(entry.item) + 0x9E37'79B9u + (seed << 6) + (seed >> 2));
  }
};
