// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <cstdint>
#include <optional>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1 {

/// The rules that choose a language's grammatical form for a count.
///
/// English has two forms, as in "1 file" and "2 files". Russian has three forms, and Arabic has six. A host keeps one
/// text for each category, and shows the text of the category that the rules choose. The nearest facility is
/// `ngettext`, whose rules are in the translations. A thread prepares a combination of locale and kind at its first
/// use, and keeps the eight combinations that it used last.
///
/// Thread contract: thread-compatible. Threads may share rules that no thread changes.
///
///     PluralRules rules(PluralRules::Kind::cardinal, Locale("en"));
///     bool isOneFile = rules.category(1) == PluralRules::Category::one;         // true
///     bool isRoundHalf = rules.category(1.0, 1) == PluralRules::Category::one;  // false: "1.0 files"
class PluralRules {
 public:
  /// `cardinal`: counts ("2 files"). `ordinal`: ranks ("2nd").
  enum class Kind : std::uint8_t { cardinal, ordinal };
  /// The six categories of the Unicode locale data. Every language has `other`.
  enum class Category : std::uint8_t { zero, one, two, few, many, other };

  /// An absent locale means the current locale at every use.
  explicit PluralRules(Kind kind = Kind::cardinal, const std::optional<Locale>& locale = std::nullopt)
      : locale_(locale), kind_(kind) {}

  /// The category of a number in its shortest decimal form: 1.5 has one fraction digit, 1.0 has none. The sign is
  /// ignored. `other` for infinities and NaN.
  [[nodiscard]] TESSALY_EXPORT Category category(double number) const;
  /// The category of a number that is shown with exactly `fractionDigits` fraction digits. `fractionDigits` is clamped
  /// to the range from 0 to 340.
  [[nodiscard]] TESSALY_EXPORT Category category(double number, int fractionDigits) const;

  friend bool operator==(const PluralRules&, const PluralRules&) noexcept = default;

 private:
  std::optional<Locale> locale_;
  Kind kind_;
};

}  // namespace Tessaly::inline v1
