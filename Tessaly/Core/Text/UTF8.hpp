// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <ranges>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/DecodedScalar.hpp"  // IWYU pragma: export
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text {

/// The scalars of a UTF-8 text, in order: a forward range that neither copies nor owns the text. Every maximal
/// ill-formed subsequence counts as one U+FFFD.
///
/// Thread contract: thread-compatible.
///
///     for (char32_t scalar : Scalars("né")) std::cout << static_cast<std::uint32_t>(scalar) << ' ';  // 110 233
class TESSALY_NON_OWNING Scalars : public std::ranges::view_interface<Scalars> {
 public:
  class Iterator {
   public:
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = char32_t;
    using difference_type = std::ptrdiff_t;

    constexpr Iterator() noexcept = default;

    constexpr char32_t operator*() const noexcept { return current_.scalar; }
    constexpr Iterator& operator++() noexcept {
      offset_ += current_.length;
      read();
      return *this;
    }
    constexpr Iterator operator++(int) noexcept {
      Iterator before = *this;
      ++*this;
      return before;
    }

    /// The scalar, its length, and whether its bytes were well-formed.
    [[nodiscard]] constexpr const DecodedScalar& decoded() const noexcept TESSALY_LIFETIMEBOUND { return current_; }
    /// The byte offset of the scalar in the text.
    [[nodiscard]] constexpr std::size_t offset() const noexcept { return offset_; }

    friend constexpr bool operator==(const Iterator& left, const Iterator& right) noexcept {
      return left.offset_ == right.offset_;
    }
    friend constexpr bool operator==(const Iterator& iterator, std::default_sentinel_t) noexcept {
      return iterator.offset_ >= iterator.text_.size();
    }

   private:
    friend class Scalars;
    constexpr explicit Iterator(std::string_view text) noexcept : text_(text) { read(); }
    constexpr void read() noexcept {
      if (offset_ < text_.size()) current_ = decodeScalar(text_, offset_);
    }

    std::string_view text_;
    std::size_t offset_ = 0;
    DecodedScalar current_;
  };

  constexpr Scalars() noexcept = default;
  constexpr explicit Scalars(std::string_view text) noexcept : text_(text) {}

  [[nodiscard]] constexpr Iterator begin() const noexcept { return Iterator(text_); }
  [[nodiscard]] constexpr std::default_sentinel_t end() const noexcept { return std::default_sentinel; }

 private:
  std::string_view text_;
};

/// Whether the text is well-formed UTF-8. O(n). Reads ASCII in words of eight bytes.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isWellFormed(std::string_view text) noexcept;

/// The text with one U+FFFD in place of every maximal ill-formed subsequence. Well-formed text is returned unchanged.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string sanitized(std::string_view text);

/// Appends a scalar as UTF-8. A surrogate or a number above U+10FFFF is appended as U+FFFD.
///
/// Thread contract: thread-safe for different texts.
TESSALY_EXPORT void appendScalar(std::string& text, char32_t scalar);

}  // namespace Tessaly::inline v1::Text

template <>
inline constexpr bool std::ranges::enable_borrowed_range<Tessaly::Text::Scalars> = true;
