// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <ranges>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text {

/// The replacement for ill-formed input: U+FFFD.
inline constexpr char32_t replacementCharacter = U'\uFFFD';

/// One scalar read from UTF-8.
///
/// Every maximal subpart of an ill-formed subsequence reads as one U+FFFD, as the Unicode standard recommends. Reading
/// therefore always advances and never fails.
///
///     DecodedScalar euro = decodeScalar("€5", 0);
///     // euro.scalar is U'€', euro.length is 3, euro.isWellFormed is true.
struct DecodedScalar {
  char32_t scalar = 0;
  /// The number of bytes read: 1 to 4.
  std::uint8_t length = 0;
  /// False if `scalar` is a U+FFFD in place of ill-formed bytes.
  bool isWellFormed = false;

  friend bool operator==(const DecodedScalar&, const DecodedScalar&) noexcept = default;
};

/// Reads the scalar at a byte offset, which must be less than the size of the text.
///
/// Thread contract: thread-safe.
[[nodiscard]] constexpr DecodedScalar decodeScalar(std::string_view text, std::size_t offset) noexcept {
  const auto byteAt = [&](std::size_t index) { return static_cast<unsigned char>(text[offset + index]); };
  const unsigned char lead = byteAt(0);
  if (lead < 0x80) return {lead, 1, true};
  const std::uint8_t expected = lead >= 0xC2 && lead <= 0xDF   ? 2
                                : lead >= 0xE0 && lead <= 0xEF ? 3
                                : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                               : 0;
  if (expected == 0) return {replacementCharacter, 1, false};

  // The range of the second byte excludes overlong forms, surrogates, and numbers above U+10FFFF.
  const unsigned char lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  char32_t scalar = lead & (0x7Fu >> expected);
  std::uint8_t length = 1;
  for (; length < expected; ++length) {
    if (offset + length >= text.size()) return {replacementCharacter, length, false};
    const unsigned char next = byteAt(length);
    const bool isFirst = length == 1;
    if (next < (isFirst ? lowest : 0x80) || next > (isFirst ? highest : 0xBF)) {
      return {replacementCharacter, length, false};
    }
    scalar = scalar << 6 | (next & 0x3Fu);
  }
  return {scalar, length, true};
}

/// The scalars of a UTF-8 text, in order: a forward range that neither copies nor owns the text.
///
/// Thread contract: thread-compatible.
///
///     for (char32_t scalar : Scalars("né")) std::cout << static_cast<std::uint32_t>(scalar) << ' ';  // 110 233
class Scalars : public std::ranges::view_interface<Scalars> {
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

    /// The scalar, its length, and whether it was well-formed.
    [[nodiscard]] constexpr const DecodedScalar& decoded() const noexcept { return current_; }
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

/// Whether the text is well-formed UTF-8. O(n); ASCII is read eight bytes at a time.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isWellFormed(std::string_view text) noexcept;

/// The text with one U+FFFD in place of every maximal ill-formed subsequence. Well-formed text comes back unchanged.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string sanitized(std::string_view text);

/// Appends a scalar as UTF-8. A surrogate or a number above U+10FFFF is appended as U+FFFD.
///
/// Thread contract: thread-safe, except on the same text.
TESSALY_EXPORT void appendScalar(std::string& text, char32_t scalar);

}  // namespace Tessaly::inline v1::Text

template <>
inline constexpr bool std::ranges::enable_borrowed_range<Tessaly::Text::Scalars> = true;
