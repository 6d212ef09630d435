// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <ranges>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text {

/// The user-perceived characters of a UTF-8 text, in order. They are extended grapheme clusters (Unicode Standard Annex
/// 29), with the Indic conjuncts of ICU 72's root rules. CR LF, a flag, a family joined by U+200D, a keycap and a
/// conjunct are one character each. Every maximal ill-formed subsequence counts as one U+FFFD.
///
/// The class is a forward range of `std::string_view`. The class neither copies nor owns the text. The standard library
/// has no counterpart. The iterator finds up to 16 characters at a time. It uses a table of Unicode 15 and does not
/// call ICU. A cluster longer than 1 GiB is split.
///
/// Thread contract: thread-compatible.
///
///     for (std::string_view character : GraphemeClusters("né🇫🇷")) std::cout << character.size() << ' ';  // 1 2 8
class TESSALY_NON_OWNING GraphemeClusters : public std::ranges::view_interface<GraphemeClusters> {
 public:
  class Iterator {
   public:
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = std::string_view;
    using difference_type = std::ptrdiff_t;

    Iterator() noexcept = default;

    std::string_view operator*() const noexcept { return text_.substr(offset_, lengths_[next_]); }
    Iterator& operator++() noexcept {
      offset_ += lengths_[next_];
      if (++next_ == count_) fill();
      return *this;
    }
    Iterator operator++(int) noexcept {
      Iterator before = *this;
      ++*this;
      return before;
    }

    /// The byte offset of the cluster in the text.
    [[nodiscard]] std::size_t offset() const noexcept { return offset_; }

    friend bool operator==(const Iterator& left, const Iterator& right) noexcept {
      return left.offset_ == right.offset_;
    }
    friend bool operator==(const Iterator& iterator, std::default_sentinel_t) noexcept {
      return iterator.offset_ == iterator.text_.size();
    }

   private:
    friend class GraphemeClusters;
    explicit Iterator(std::string_view text) noexcept : text_(text) { fill(); }
    /// Finds the lengths of the next clusters, from `offset_` on.
    TESSALY_EXPORT void fill() noexcept;

    std::string_view text_;
    std::size_t offset_ = 0;
    std::array<std::uint32_t, 16> lengths_{};
    std::uint8_t next_ = 0;
    std::uint8_t count_ = 0;
  };

  GraphemeClusters() noexcept = default;
  explicit GraphemeClusters(std::string_view text) noexcept : text_(text) {}

  [[nodiscard]] Iterator begin() const noexcept { return Iterator(text_); }
  [[nodiscard]] std::default_sentinel_t end() const noexcept { return std::default_sentinel; }

 private:
  std::string_view text_;
};

/// The last user-perceived character of a text, as a view into the text. Empty for the empty text. Reads only the end
/// of the text, back to the nearest certain boundary. A boundary is certain if the two scalars beside it suffice to
/// prove it.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string_view lastGraphemeCluster(std::string_view text) noexcept;
/// The last user-perceived character of a `std::string`, as a view into the string. Empty for the empty string. With
/// this overload, Clang warns about a result that outlives a temporary string.
[[nodiscard]] std::string_view lastGraphemeCluster(
    const std::same_as<std::string> auto& text TESSALY_LIFETIMEBOUND) noexcept {
  return lastGraphemeCluster(std::string_view(text));
}

/// The number of user-perceived characters of a text. O(n).
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::int64_t graphemeClusterCount(std::string_view text) noexcept;

}  // namespace Tessaly::inline v1::Text

template <>
inline constexpr bool std::ranges::enable_borrowed_range<Tessaly::Text::GraphemeClusters> = true;
