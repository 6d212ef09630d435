// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Tessaly::inline v1::Text::detail {

/// The way in which a scalar takes part in the transform for searches. The order matters: the letters come last, and
/// `latin` comes first among them.
enum class SearchKind : std::uint8_t {
  unknown,
  /// Only ICU knows the result.
  unfit,
  /// The result is the same in every context.
  plain,
  /// An opening sign. If the sign belongs to a run of ideographs, the result has a space between the sign and an
  /// ideograph or letter before it.
  opening,
  /// A closing sign. The result has a space between the sign and an ideograph after it.
  closing,
  /// The result is the same in every text whose letters are all Latin.
  latinOnly,
  /// A mark that disappears after a Latin letter and after a digit.
  mark,
  /// The sign that prolongs a syllable of kana. It disappears.
  prolonged,
  /// A sign that has the same result after every Arabic letter.
  arabicSign,
  /// A sign that ICU replaces in a run of ideographs. `text` is that replacement. Elsewhere the sign stays as it is.
  replacedBesideHan,
  /// The same, and in a run of ideographs the result has a space between the sign and an ideograph after it.
  closingBesideHan,
  latin,
  cyrillic,
  greek,
  hebrew,
  arabic,
  hangul,
  hiragana,
  katakana,
  /// An ideograph, or a sign that repeats an ideograph and is a letter for ICU.
  han,
  /// A sign that repeats an ideograph and is no letter for ICU. The result has no spaces around it.
  hanSymbol,
};

constexpr bool isLetter(SearchKind kind) noexcept { return kind >= SearchKind::latin; }
constexpr bool isHan(SearchKind kind) noexcept { return kind >= SearchKind::han; }
constexpr bool isKana(SearchKind kind) noexcept { return kind == SearchKind::hiragana || kind == SearchKind::katakana; }

/// The kind of a scalar, and the text that the search transform makes of the scalar alone. The object has 8 bytes.
class SearchScalar {
 public:
  static constexpr std::size_t maximumLength = 7;

  explicit SearchScalar(std::uint64_t bits) noexcept { std::memcpy(bytes_.data(), &bits, sizeof bits); }
  SearchScalar(SearchKind kind, std::string_view text) noexcept {
    bytes_[0] = static_cast<char>(static_cast<unsigned>(kind) << 3 | text.size());
    text.copy(bytes_.data() + 1, maximumLength);
  }

  [[nodiscard]] std::uint64_t bits() const noexcept {
    std::uint64_t bits = 0;
    std::memcpy(&bits, bytes_.data(), sizeof bits);
    return bits;
  }
  [[nodiscard]] SearchKind kind() const noexcept {
    return static_cast<SearchKind>(static_cast<unsigned char>(bytes_[0]) >> 3);
  }
  [[nodiscard]] std::string_view text() const noexcept {
    return {bytes_.data() + 1, static_cast<std::size_t>(bytes_[0] & 7)};
  }

 private:
  std::array<char, 1 + maximumLength> bytes_{};
};

/// The kind of a scalar, and the text that the transform for searches makes from it (empty for `unfit`). For a scalar
/// below U+10000, the first call takes them from ICU and keeps them.
///
/// Thread contract: thread-safe.
[[nodiscard]] SearchScalar searchScalar(char32_t scalar);

/// The single scalar that Unicode's canonical composition (NFC) makes from a letter and a mark. Zero if the two do not
/// compose.
///
/// Thread contract: thread-safe.
[[nodiscard]] char32_t composedScalar(char32_t letter, char32_t mark) noexcept;

/// The kind and the result of a letter with a mark. Both are those of the composed letter if there is one, and
/// otherwise those of the letter alone.
///
/// Thread contract: thread-safe.
[[nodiscard]] SearchScalar composedSearchScalar(char32_t letter, char32_t mark);

/// The kind and the result of two adjacent kana syllables in the transform for searches. The function calls ICU if its
/// cache does not hold the pair. A new pair may displace another pair from the cache. The kind is `unfit` if ICU fails
/// or the result has more than 6 bytes. Otherwise the kind is always `hiragana`, even for katakana.
///
/// Thread contract: thread-safe.
[[nodiscard]] SearchScalar kanaPair(char32_t first, char32_t second);

/// Whether the result has a hyphen between a Hangul syllable and the letters before it. `letters` must be the end of
/// the result before the syllable: at most three characters, each a lower-case ASCII letter or a hyphen.
///
/// Thread contract: thread-safe.
[[nodiscard]] bool needsHyphen(std::string_view letters, char32_t syllable);

}  // namespace Tessaly::inline v1::Text::detail
