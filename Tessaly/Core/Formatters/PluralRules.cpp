// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/PluralRules.hpp"

#include <unicode/locid.h>
#include <unicode/numberformatter.h>
#include <unicode/plurrule.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <memory>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/detail/PerThread.hpp"
#include "Tessaly/Core/Formatters/detail/PluralCategories.hpp"
#include "Tessaly/Core/Text/detail/RecentlyUsed.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr std::array<std::u16string_view, 6> keywords{u"zero", u"one", u"two", u"few", u"many", u"other"};

PluralRules::Category categoryOf(const icu::UnicodeString& keyword) {
  const std::u16string_view text(keyword.getBuffer(), static_cast<std::size_t>(std::max(keyword.length(), 0)));
  const auto found = std::ranges::find(keywords, text);
  return found == keywords.end() ? PluralRules::Category::other
                                 : static_cast<PluralRules::Category>(found - keywords.begin());
}

/// Whether ICU finds exactly these fraction digits in a number. ICU multiplies a number by powers of ten until it is
/// whole. No such product of 2.22 is whole, so ICU finds too many digits in 2.22. A text avoids this mistake, but ICU
/// takes four times as long for it.
bool hasFractionDigits(double magnitude, int digits) {
  double power = 1;
  for (int count = 0; count <= std::min(digits, 3); ++count, power *= 10) {
    if (magnitude * power == std::floor(magnitude * power)) return count == digits;
  }
  return false;
}

struct Key {
  std::string locale;
  PluralRules::Kind kind;
  bool operator==(const Key&) const noexcept = default;
};

struct Prepared : detail::RecentlyUsed<Key, detail::PluralCategories, 8> {};

detail::PluralCategories& prepared(const Locale& locale, PluralRules::Kind kind) {
  return detail::PerThread<Prepared>::current().get(Key{locale.identifier(), kind}, [](const Key& key) {
    return std::make_unique<detail::PluralCategories>(key.locale, key.kind);
  });
}

}  // namespace

struct detail::PluralCategories::Rules {
  /// The number of whole numbers in a table. Most counts are small, and ICU takes a hundred times as long as the table.
  static constexpr std::size_t knownCount = 128;
  /// The number of places in the cache for all other numbers. The bits of a number select its place.
  static constexpr std::size_t seenCount = 64;
  struct Seen {
    double magnitude = -1;
    int fractionDigits = 0;
    PluralRules::Category category{};
  };

  std::unique_ptr<icu::PluralRules> rules;
  std::array<PluralRules::Category, knownCount> known{};
  std::array<Seen, seenCount> seen;
};

detail::PluralCategories::PluralCategories(const std::string& locale, PluralRules::Kind kind)
    : rules_(std::make_unique<Rules>()) {
  const icu::Locale named(locale.c_str());
  UErrorCode status = U_ZERO_ERROR;
  rules_->rules.reset(icu::PluralRules::forLocale(
      named.isBogus() ? icu::Locale::getRoot() : named,
      kind == PluralRules::Kind::cardinal ? UPLURAL_TYPE_CARDINAL : UPLURAL_TYPE_ORDINAL, status));
  for (std::size_t number = 0; number < Rules::knownCount; ++number) {
    rules_->known[number] = rules_->rules ? categoryOf(rules_->rules->select(static_cast<std::int32_t>(number)))
                                          : PluralRules::Category::other;
  }
}

detail::PluralCategories::~PluralCategories() = default;

PluralRules::Category detail::PluralCategories::of(double magnitude, int fractionDigits) {
  const bool isShort = fractionDigits <= 0 && magnitude == std::floor(magnitude);
  if (isShort && magnitude < Rules::knownCount) return rules_->known[static_cast<std::size_t>(magnitude)];
  if (!std::isfinite(magnitude) || !rules_->rules) return PluralRules::Category::other;
  const auto bits = std::bit_cast<std::uint64_t>(magnitude) * 0x9E37'79B9'7F4A'7C15U;
  Rules::Seen& seen = rules_->seen[bits >> 58U];
  if (seen.magnitude != magnitude || seen.fractionDigits != fractionDigits) {
    seen = {magnitude, fractionDigits, ofICU(magnitude, fractionDigits)};
  }
  return seen.category;
}

PluralRules::Category detail::PluralCategories::of(const DecimalWriter::Decimals& shown) {
  const int fractions = std::max(shown.fractions(), 0);
  double digits = 0;
  for (int index = 0; index < shown.integers + fractions; ++index) digits = digits * 10 + shown.at(index);
  return of(digits / std::pow(10.0, fractions), fractions);
}

PluralRules::Category detail::PluralCategories::ofICU(double magnitude, int fractionDigits) const {
  using icu::number::Precision;
  if (hasFractionDigits(magnitude, fractionDigits)) return categoryOf(rules_->rules->select(magnitude));
  static const auto* const formatter =
      new icu::number::LocalizedNumberFormatter(icu::number::NumberFormatter::withLocale(icu::Locale::getRoot()));
  const Precision precision = fractionDigits < 0 ? Precision(Precision::unlimited())
                                                 : Precision(Precision::fixedFraction(std::min(fractionDigits, 340)));
  UErrorCode status = U_ZERO_ERROR;
  const auto number = formatter->precision(precision).formatDouble(magnitude, status);
  const icu::UnicodeString keyword = rules_->rules->select(number, status);
  return U_SUCCESS(status) ? categoryOf(keyword) : PluralRules::Category::other;
}

PluralRules::Category PluralRules::category(double number) const {
  return prepared(locale_ ? *locale_ : detail::currentLocale(), kind_)
      .of(std::abs(number), detail::PluralCategories::shortest);
}

PluralRules::Category PluralRules::category(double number, int fractionDigits) const {
  return prepared(locale_ ? *locale_ : detail::currentLocale(), kind_)
      .of(std::abs(number), std::max(fractionDigits, 0));
}

}  // namespace Tessaly::inline v1
