// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Tessaly::inline v1::Text::detail {

/// The classes of scalars that the rules for grapheme clusters distinguish. These classes are those of Unicode's
/// Grapheme_Cluster_Break, with four additions. Extending marks with a combining class other than 0 have a class of
/// their own. Pictographs have one, too. So do the consonants of scripts with conjuncts, and so do the viramas of these
/// scripts.
enum class CharacterClass : std::uint8_t {
  other,
  carriageReturn,
  lineFeed,
  control,
  extend,
  extendWithClass,
  virama,
  zeroWidthJoiner,
  regionalIndicator,
  prepend,
  spacingMark,
  hangulL,
  hangulV,
  hangulT,
  hangulLV,
  hangulLVT,
  pictograph,
  linkingConsonant,
};

extern const std::uint8_t characterBlockOf[0x110000 / 128];
extern const std::uint8_t characterBlocks[][128];

/// The class of a scalar, and whether it has the property Emoji.
class CharacterProperties {
 public:
  explicit CharacterProperties(char32_t scalar) noexcept
      : bits_(characterBlocks[characterBlockOf[scalar >> 7]][scalar & 0x7F]) {}
  [[nodiscard]] CharacterClass characterClass() const noexcept { return static_cast<CharacterClass>(bits_ & 0x1F); }
  [[nodiscard]] bool isEmoji() const noexcept { return (bits_ & 0x20) != 0; }

 private:
  std::uint8_t bits_;
};

/// Whether there is a boundary between two neighbouring scalars. The last three values mean that the answer also
/// depends on earlier scalars.
enum class Joint : std::uint8_t { breaks, joins, dependsOnFlags, dependsOnPictographs, dependsOnConjuncts };

constexpr Joint jointOf(CharacterClass before, CharacterClass after) noexcept {
  using enum CharacterClass;
  const auto isControl = [](CharacterClass value) {
    return value == carriageReturn || value == lineFeed || value == control;
  };
  if (before == carriageReturn && after == lineFeed) return Joint::joins;  // GB3
  if (isControl(before) || isControl(after)) return Joint::breaks;         // GB4, GB5
  if (before == hangulL && (after == hangulL || after == hangulV || after == hangulLV || after == hangulLVT)) {
    return Joint::joins;  // GB6
  }
  if ((before == hangulLV || before == hangulV) && (after == hangulV || after == hangulT)) return Joint::joins;  // GB7
  if ((before == hangulLVT || before == hangulT) && after == hangulT) return Joint::joins;                       // GB8
  if (after == extend || after == extendWithClass || after == virama || after == zeroWidthJoiner ||
      after == spacingMark) {
    return Joint::joins;  // GB9, GB9a
  }
  if (before == prepend) return Joint::joins;  // GB9b
  if (after == linkingConsonant && (before == extendWithClass || before == virama || before == zeroWidthJoiner)) {
    return Joint::dependsOnConjuncts;
  }
  if (before == zeroWidthJoiner && after == pictograph) return Joint::dependsOnPictographs;     // GB11
  if (before == regionalIndicator && after == regionalIndicator) return Joint::dependsOnFlags;  // GB12, GB13
  return Joint::breaks;                                                                         // GB999
}

inline constexpr auto joints = [] {
  std::array<Joint, std::size_t{32} * 32> table{};
  for (std::size_t before = 0; before < 18; ++before) {
    for (std::size_t after = 0; after < 18; ++after) {
      table[before * 32 + after] = jointOf(static_cast<CharacterClass>(before), static_cast<CharacterClass>(after));
    }
  }
  return table;
}();

inline Joint joint(CharacterClass before, CharacterClass after) noexcept {
  return joints[static_cast<std::size_t>(before) * 32 + static_cast<std::size_t>(after)];
}

/// Finds the cluster boundaries between the scalars of a text, in forward order. The rules are those of Unicode
/// Standard Annex 29, with the conjuncts of ICU 72's root rules.
class CharacterBreaker {
 public:
  explicit CharacterBreaker(CharacterClass first) noexcept { restart(first); }

  /// Advances to the next scalar. Returns whether there is a boundary before it.
  bool breaksBefore(CharacterClass next) noexcept {
    bool breaks = true;
    switch (joint(last_, next)) {
      case Joint::breaks:
        break;
      case Joint::joins:
        breaks = false;
        break;
      case Joint::dependsOnFlags:
        breaks = !isHalfFlag_;
        break;
      case Joint::dependsOnPictographs:
        breaks = !hasJoinedPictograph_;
        break;
      case Joint::dependsOnConjuncts:
        breaks = conjunct_ != Conjunct::linked;
        break;
    }
    if (breaks) {
      restart(next);
    } else {
      extend(next);
    }
    return breaks;
  }

  [[nodiscard]] CharacterClass last() const noexcept { return last_; }

 private:
  /// The state of an Indic conjunct: no consonant yet, a consonant, or a consonant and a virama.
  enum class Conjunct : std::uint8_t { none, begun, linked };

  void restart(CharacterClass first) noexcept {
    last_ = first;
    isHalfFlag_ = first == CharacterClass::regionalIndicator;
    endsInPictograph_ = first == CharacterClass::pictograph;
    hasJoinedPictograph_ = false;
    conjunct_ = first == CharacterClass::linkingConsonant ? Conjunct::begun : Conjunct::none;
  }
  void extend(CharacterClass next) noexcept {
    using enum CharacterClass;
    const bool isMark = next == extendWithClass || next == virama;
    isHalfFlag_ = next == regionalIndicator && !isHalfFlag_;
    hasJoinedPictograph_ = next == zeroWidthJoiner && endsInPictograph_;
    endsInPictograph_ = next == pictograph || (endsInPictograph_ && (isMark || next == CharacterClass::extend));
    if (next == linkingConsonant) {
      conjunct_ = Conjunct::begun;
    } else if (next == virama && conjunct_ != Conjunct::none) {
      conjunct_ = Conjunct::linked;
    } else if (!isMark && next != zeroWidthJoiner) {
      conjunct_ = Conjunct::none;
    }
    last_ = next;
  }

  CharacterClass last_;
  bool isHalfFlag_;
  /// Whether the cluster so far ends in a pictograph and optional marks.
  bool endsInPictograph_;
  /// Whether the cluster so far ends in a pictograph, optional marks and a joiner.
  bool hasJoinedPictograph_;
  Conjunct conjunct_;
};

}  // namespace Tessaly::inline v1::Text::detail
