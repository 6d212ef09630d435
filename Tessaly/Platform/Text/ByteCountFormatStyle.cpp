// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Text/ByteCountFormatStyle.hpp"

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

#include "Tessaly/Platform/Text/detail/PerThread.hpp"
#include "Tessaly/Platform/Text/detail/RecentlyUsed.hpp"
#include "Tessaly/Platform/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1 {
namespace {

struct Unit {
  /// The first magnitude that belongs to the next unit: what rounds to a thousand is one of those.
  double limit;
  double size;
  const char16_t* skeleton;
};

constexpr std::array<Unit, 6> units{{
    {999, 1, u". measure-unit/digital-byte unit-width-full-name"},
    {999'499, 1e3, u". measure-unit/digital-kilobyte"},
    {999'949'999, 1e6, u".# measure-unit/digital-megabyte"},
    {999'994'999'999, 1e9, u".## measure-unit/digital-gigabyte"},
    {999'994'999'999'999, 1e12, u".## measure-unit/digital-terabyte"},
    {std::numeric_limits<double>::max(), 1e15, u".## measure-unit/digital-petabyte"},
}};

/// The languages whose zero is a word.
constexpr std::array<std::string_view, 14> spellingLanguages{"ar", "da", "el", "en", "fr", "hi", "hr",
                                                             "id", "it", "ms", "pt", "ro", "th", "no"};

/// What is prepared for one locale, unit by unit.
class Engine {
 public:
  explicit Engine(const std::string& identifier) : locale_(identifier.c_str()) {
    if (locale_.isBogus()) locale_ = icu::Locale::getRoot();
  }

  std::string string(std::int64_t count) {
    const double value = static_cast<double>(count);
    std::size_t index = 0;
    while (std::abs(value) >= units[index].limit) ++index;
    auto& formatter = formatters_[index];
    if (!formatter) formatter = std::make_unique<icu::number::LocalizedNumberFormatter>(make(units[index].skeleton));
    UErrorCode status = U_ZERO_ERROR;
    const icu::number::FormattedNumber number = formatter->formatDouble(value / units[index].size, status);
    return detail::fromUTF16(number.toTempString(status));
  }

  const std::string& zero(bool isSpelledOut) {
    std::string& text = isSpelledOut ? spelledZero_ : plainZero_;
    if (text.empty()) text = makeZero(isSpelledOut);
    return text;
  }

 private:
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
      ruleStatus = U_ZERO_ERROR;  // A language without either, such as Danish, keeps its own first choice.
      speller.setDefaultRuleSet(u"%spellout-cardinal-masculine", ruleStatus);
    }
    speller.setContext(UDISPCTX_CAPITALIZATION_FOR_BEGINNING_OF_SENTENCE, status);
    icu::UnicodeString word;
    icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
    return speller.format(std::int64_t{0}, word, position, status);
  }

  icu::Locale locale_;
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
