// SPDX-License-Identifier: MIT
#include <unicode/currunit.h>
#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/listformatter.h>
#include <unicode/measunit.h>
#include <unicode/numberformatter.h>
#include <unicode/plurrule.h>
#include <unicode/rbnf.h>

#include <array>
#include <memory>

#include "tests/Core/Formatters/ByteCountRecipe.hpp"
#include "tests/Core/Formatters/ICUTexts.hpp"

namespace Tessaly::Tests {
namespace {

using icu::UnicodeString;
using icu::number::Precision;
using icu::number::UnlocalizedNumberFormatter;

/// A decimal format without a style: whole numbers, not grouped.
std::unique_ptr<icu::DecimalFormat> plainNumbers(const icu::Locale& locale) {
  return succeeding([&](UErrorCode& status) {
    auto format = std::make_unique<icu::DecimalFormat>(u"#", new icu::DecimalFormatSymbols(locale, status), status);
    format->setGroupingUsed(false);
    return format;
  });
}

std::string numberOf(const icu::NumberFormat& format, double number) {
  UnicodeString text;
  return utf8(format.format(number, text));
}

/// Numbers with a minimum and a maximum of fraction digits.
WriteByICU decimals(int minimum, int maximum) {
  return [=](const icu::Locale& locale, const std::string& input) {
    const auto format = plainNumbers(locale);
    format->setMaximumFractionDigits(maximum);
    format->setMinimumFractionDigits(minimum);
    return numberOf(*format, std::stod(input));
  };
}

/// Levels have single precision.
std::string decibels(const icu::Locale& locale, const std::string& input) {
  const auto format = plainNumbers(locale);
  format->setMaximumFractionDigits(1);
  format->setMinimumFractionDigits(1);
  return numberOf(*format, static_cast<float>(std::stod(input)));
}

std::unique_ptr<icu::DecimalFormat> beats(const icu::Locale& locale) {
  auto format = plainNumbers(locale);
  format->setPositiveSuffix(u" bpm");
  format->setNegativeSuffix(u" bpm");
  format->setRoundingMode(icu::DecimalFormat::kRoundHalfUp);
  return succeeding([&](UErrorCode& status) {
    format->applyPattern(u"#;~", status);
    return std::move(format);
  });
}

std::string patternOfBeats(const icu::Locale& locale, const std::string&) {
  UnicodeString pattern;
  return utf8(beats(locale)->toPattern(pattern));
}

std::string symbol(const icu::Locale& locale, const std::string& input) {
  return succeeding([&](UErrorCode& status) {
    const icu::DecimalFormatSymbols symbols(locale, status);
    return utf8(symbols.getSymbol(static_cast<icu::DecimalFormatSymbols::ENumberFormatSymbol>(std::stoi(input))));
  });
}

std::string bytes(const icu::Locale& locale, const std::string& input) {
  ByteCountRecipe recipe(locale);
  return input == "0" ? recipe.zero() : recipe.text(std::stoll(input));
}

/// The product is one of doubles. ICU's own multiplier works on decimals.
std::string wholePercent(const icu::Locale& locale, const std::string& input) {
  return succeeding([&](UErrorCode& status) {
    const std::unique_ptr<icu::NumberFormat> format(icu::NumberFormat::createPercentInstance(locale, status));
    dynamic_cast<icu::DecimalFormat&>(*format).setMultiplier(1);
    return numberOf(*format, std::stod(input) * 100);
  });
}

std::string written(const UnlocalizedNumberFormatter& format, const icu::Locale& locale, double number) {
  const icu::number::LocalizedNumberFormatter localized = format.locale(locale);
  return succeeding([&](UErrorCode& status) {
    // The first few texts of a formatter go another way in ICU, which garbles some names.
    for (int turn = 0; turn < 5; ++turn) localized.formatDouble(1, status);
    return utf8(localized.formatDouble(number, status).toString(status));
  });
}

std::string grouped(const icu::Locale& locale, const std::string& input) {
  return written(UnlocalizedNumberFormatter().precision(Precision::maxFraction(3)), locale, std::stod(input));
}

std::string percent(const icu::Locale& locale, const std::string& input) {
  return written(UnlocalizedNumberFormatter()
                     .unit(icu::NoUnit::percent())
                     .scale(icu::number::Scale::powerOfTen(2))
                     .precision(Precision::maxFraction(1)),
                 locale, std::stod(input));
}

std::string currency(const icu::Locale& locale, const std::string& input) {
  return succeeding([&](UErrorCode& status) {
    const icu::CurrencyUnit unit(UnicodeString::fromUTF8(input.substr(0, 3)).getTerminatedBuffer(), status);
    return written(icu::number::NumberFormatter::with().unit(unit), locale, std::stod(input.substr(4)));
  });
}

std::string measurement(const icu::Locale& locale, const std::string& input) {
  constexpr std::array widths{UNUM_UNIT_WIDTH_FULL_NAME, UNUM_UNIT_WIDTH_SHORT, UNUM_UNIT_WIDTH_NARROW};
  const std::vector<std::string> words = wordsOf(input);
  return succeeding([&](UErrorCode& status) {
    return written(icu::number::NumberFormatter::with()
                       .unit(icu::MeasureUnit::forIdentifier(words.at(1), status))
                       .unitWidth(widths.at(widthOf(words.at(0))))
                       .precision(Precision::maxFraction(1)),
                   locale, std::stod(words.at(2)));
  });
}

std::string ordinal(const icu::Locale& locale, const std::string& input) {
  return succeeding([&](UErrorCode& status) {
    UnicodeString text;
    const icu::RuleBasedNumberFormat format(icu::URBNF_ORDINAL, locale, status);
    return utf8(format.format(std::int64_t{std::stoll(input)}, text));
  });
}

std::string plural(const icu::Locale& locale, const std::string& input) {
  const std::vector<std::string> words = wordsOf(input);
  return succeeding([&](UErrorCode& status) {
    const std::unique_ptr<icu::PluralRules> rules(icu::PluralRules::forLocale(
        locale, words.at(0) == "ordinal" ? UPLURAL_TYPE_ORDINAL : UPLURAL_TYPE_CARDINAL, status));
    return utf8(rules->select(std::stoi(words.at(1))));
  });
}

std::string list(const icu::Locale& locale, const std::string& input) {
  const std::vector<std::string> words = wordsOf(input);
  return succeeding([&](UErrorCode& status) {
    const std::unique_ptr<icu::ListFormatter> format(icu::ListFormatter::createInstance(
        locale, static_cast<UListFormatterType>(placeOf(words.at(0), {"and", "or", "units"})),
        static_cast<UListFormatterWidth>(widthOf(words.at(1))), status));
    const UnicodeString items[] = {u"A", u"B", u"C", u"D"};
    UnicodeString text;
    return utf8(format->format(items, std::stoi(words.at(2)), text, status));
  });
}

}  // namespace

WritersByICU writersOfNumbers() {
  return {{"icu/bytes", bytes},
          {"icu/noFraction", decimals(0, 0)},
          {"icu/limited2", decimals(0, 2)},
          {"icu/decibelText", decibels},
          {"icu/percent", wholePercent},
          {"icu/bpm", [](const auto& locale, const auto& input) { return numberOf(*beats(locale), std::stod(input)); }},
          {"icu/bpmPattern", patternOfBeats},
          {"icu/symbol", symbol},
          {"texts/number", grouped},
          {"texts/percent", percent},
          {"texts/currency", currency},
          {"texts/measurement", measurement},
          {"texts/ordinal", ordinal},
          {"texts/plural", plural},
          {"texts/list", list}};
}

}  // namespace Tessaly::Tests
