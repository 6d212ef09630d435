// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/ByteCountFormatStyle.hpp"

#include <unicode/dcfmtsym.h>
#include <unicode/fieldpos.h>
#include <unicode/formattedvalue.h>
#include <unicode/locid.h>
#include <unicode/numberformatter.h>
#include <unicode/rbnf.h>
#include <unicode/udisplaycontext.h>
#include <unicode/unum.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <string_view>

#include "Tessaly/Core/Base/detail/PerThread.hpp"
#include "Tessaly/Core/Formatters/PluralRules.hpp"
#include "Tessaly/Core/Formatters/detail/DecimalWriter.hpp"
#include "Tessaly/Core/Formatters/detail/PluralCategories.hpp"
#include "Tessaly/Core/Text/detail/RecentlyUsed.hpp"
#include "Tessaly/Core/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1 {
namespace {

struct Unit {
  /// The smallest magnitude of the next unit. Numbers that round to a thousand belong to that unit.
  double limit;
  double size;
  int fractionDigits;
  const char16_t* skeleton;
};

constexpr std::array<Unit, 6> units{{
    {999, 1, 0, u". measure-unit/digital-byte unit-width-full-name"},
    {999'499, 1e3, 0, u". measure-unit/digital-kilobyte"},
    {999'949'999, 1e6, 1, u".# measure-unit/digital-megabyte"},
    {999'994'999'999, 1e9, 2, u".## measure-unit/digital-gigabyte"},
    {999'994'999'999'999, 1e12, 2, u".## measure-unit/digital-terabyte"},
    {std::numeric_limits<double>::max(), 1e15, 2, u".## measure-unit/digital-petabyte"},
}};

/// The languages that have a word for zero.
constexpr std::array<std::string_view, 13> spellingLanguages{"ar", "da", "el", "en", "fr", "hi", "hr",
                                                             "id", "it", "ms", "pt", "ro", "th"};

constexpr std::size_t categoryCount = static_cast<std::size_t>(PluralRules::Category::other) + 1;

/// The prepared data of one locale, by unit.
class Engine {
 public:
  explicit Engine(const std::string& identifier)
      : locale_(identifier.c_str()), categories_(identifier, PluralRules::Kind::cardinal) {
    if (locale_.isBogus()) locale_ = icu::Locale::getRoot();
    UErrorCode status = U_ZERO_ERROR;
    const icu::DecimalFormatSymbols symbols(locale_, status);
    for (int digit = 0; digit < 10; ++digit) {
      writer_.digits[static_cast<std::size_t>(digit)] = detail::fromUTF16(symbols.getConstDigitSymbol(digit));
    }
    writer_.decimalSeparator =
        detail::fromUTF16(symbols.getConstSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol));
    writesNumbers_ = U_SUCCESS(status) != 0;
  }

  std::string string(std::int64_t count) {
    const double magnitude = std::abs(static_cast<double>(count));
    std::size_t index = 0;
    while (magnitude >= units[index].limit) ++index;
    const double value = magnitude / units[index].size;
    const auto decimals = writer_.rounded(value, units[index].fractionDigits);
    // Larger numbers are grouped.
    if (!writesNumbers_ || !decimals || decimals->integers > 3) return stringOfICU(index, count);

    const auto category = static_cast<std::size_t>(categories_.of(*decimals));
    Surroundings& around = surroundings_[index][category][count < 0 ? 1 : 0];
    if (around.isLeftToICU) return stringOfICU(index, count);
    std::string text = around.affixes.prefix;
    writer_.append(text, *decimals);
    if (around.isKnown) return text += around.affixes.suffix;

    std::string whole = stringOfICU(index, count);
    around.isKnown = true;
    const std::size_t at = whole.find(text);
    if (at == std::string::npos) {
      around.isLeftToICU = true;
    } else {
      around.affixes = {whole.substr(0, at), whole.substr(at + text.size())};
    }
    return whole;
  }

  const std::string& zero(bool isSpelledOut) {
    std::string& text = isSpelledOut ? spelledZero_ : plainZero_;
    if (text.empty()) text = makeZero(isSpelledOut);
    return text;
  }

 private:
  /// The texts around the number for one unit, plural form and sign. They are taken from ICU's first text and reused,
  /// because a call of ICU takes several times as long.
  struct Surroundings {
    bool isKnown = false;
    /// The text has another number in it, or none, so ICU formats every text of this kind.
    bool isLeftToICU = false;
    detail::Affixes affixes;
  };

  std::string stringOfICU(std::size_t index, std::int64_t count) {
    auto& formatter = formatters_[index];
    if (!formatter) formatter = std::make_unique<icu::number::LocalizedNumberFormatter>(make(units[index].skeleton));
    UErrorCode status = U_ZERO_ERROR;
    const auto number = formatter->formatDouble(static_cast<double>(count) / units[index].size, status);
    return detail::fromUTF16(number.toTempString(status));
  }

  [[nodiscard]] icu::number::LocalizedNumberFormatter make(const char16_t* skeleton) const {
    UErrorCode status = U_ZERO_ERROR;
    return icu::number::NumberFormatter::forSkeleton(skeleton, status).locale(locale_);
  }

  [[nodiscard]] std::string makeZero(bool isSpelledOut) const {
    UErrorCode status = U_ZERO_ERROR;
    const icu::number::FormattedNumber number = make(u"measure-unit/digital-kilobyte").formatInt(0, status);
    icu::UnicodeString text = number.toString(status);
    if (isSpelledOut &&
        std::ranges::find(spellingLanguages, std::string_view(locale_.getLanguage())) != spellingLanguages.end()) {
      const icu::UnicodeString word = spelledOutZero(status);
      icu::ConstrainedFieldPosition position;
      position.constrainField(UFIELD_CATEGORY_NUMBER, UNUM_INTEGER_FIELD);
      if (U_SUCCESS(status) && number.nextPosition(position, status)) {
        text.replaceBetween(position.getStart(), position.getLimit(), word);
      }
    }
    return U_SUCCESS(status) ? detail::fromUTF16(text) : "Zero kB";
  }

  [[nodiscard]] icu::UnicodeString spelledOutZero(UErrorCode& status) const {
    icu::RuleBasedNumberFormat speller(icu::URBNF_SPELLOUT, locale_, status);
    if (U_FAILURE(status)) return {};
    UErrorCode ruleStatus = U_ZERO_ERROR;
    speller.setDefaultRuleSet(u"%spellout-cardinal", ruleStatus);
    if (U_FAILURE(ruleStatus)) {
      ruleStatus = U_ZERO_ERROR;  // A language without both rule sets, such as Danish, keeps its default.
      speller.setDefaultRuleSet(u"%spellout-cardinal-masculine", ruleStatus);
    }
    speller.setContext(UDISPCTX_CAPITALIZATION_FOR_BEGINNING_OF_SENTENCE, status);
    icu::UnicodeString word;
    icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
    return speller.format(std::int64_t{0}, word, position, status);
  }

  icu::Locale locale_;
  detail::PluralCategories categories_;
  detail::DecimalWriter writer_;
  bool writesNumbers_ = false;
  std::array<std::array<std::array<Surroundings, 2>, categoryCount>, units.size()> surroundings_;
  std::array<std::unique_ptr<icu::number::LocalizedNumberFormatter>, units.size()> formatters_;
  std::string plainZero_;
  std::string spelledZero_;
};

struct Engines : detail::RecentlyUsed<std::string, Engine, 8> {};

}  // namespace

std::string ByteCountFormatStyle::format(std::int64_t byteCount) const {
  const Locale& locale = locale_ ? *locale_ : detail::currentLocale();
  Engine& engine = detail::PerThread<Engines>::current().get(
      locale.identifier(), [](const std::string& identifier) { return std::make_unique<Engine>(identifier); });
  return byteCount == 0 ? engine.zero(spellsOutZero_) : engine.string(byteCount);
}

}  // namespace Tessaly::inline v1
