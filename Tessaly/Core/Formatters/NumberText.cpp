// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/detail/NumberText.hpp"

#include <unicode/currunit.h>
#include <unicode/decimfmt.h>
#include <unicode/locid.h>
#include <unicode/measunit.h>
#include <unicode/numberformatter.h>
#include <unicode/numberrangeformatter.h>
#include <unicode/ucurr.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <utility>

#include "Tessaly/Core/Base/detail/PerThread.hpp"
#include "Tessaly/Core/Formatters/detail/DecimalWriter.hpp"
#include "Tessaly/Core/Formatters/detail/PluralCategories.hpp"
#include "Tessaly/Core/Text/detail/RecentlyUsed.hpp"
#include "Tessaly/Core/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1::detail {
namespace {

namespace number = icu::number;
using Kind = NumberShape::Kind;
using Width = NumberShape::Width;

/// Above this a double would lose digits of an integer.
constexpr std::int64_t exactIntegers = std::int64_t{1} << 53;

struct Key {
  std::string locale;
  NumberShape shape;
  bool operator==(const Key&) const noexcept = default;
  bool operator==(const std::pair<const std::string&, const NumberShape&>& sought) const noexcept {
    return shape == sought.second && locale == sought.first;
  }
  explicit Key(const std::pair<const std::string&, const NumberShape&>& sought)
      : locale(sought.first), shape(sought.second) {}
};

UNumberUnitWidth widthOf(Width width) {
  switch (width) {
    case Width::narrow:
      return UNUM_UNIT_WIDTH_NARROW;
    case Width::wide:
      return UNUM_UNIT_WIDTH_FULL_NAME;
    case Width::code:
      return UNUM_UNIT_WIDTH_ISO_CODE;
    case Width::abbreviated:
      break;
  }
  return UNUM_UNIT_WIDTH_SHORT;
}

icu::UnicodeString codeOf(const NumberShape& shape) {
  return {shape.currency.data(), static_cast<std::int32_t>(shape.currency.size() - 1), US_INV};
}

/// The same shape with the fraction digits of its currency, if the shape leaves them to the currency.
NumberShape completed(NumberShape shape) {
  if (shape.minimumFraction < 0) {
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t digits = ucurr_getDefaultFractionDigits(codeOf(shape).getTerminatedBuffer(), &status);
    shape.minimumFraction = shape.maximumFraction = U_SUCCESS(status) ? digits : 2;
  }
  return shape;
}

number::UnlocalizedNumberFormatter recipeOf(const NumberShape& shape) {
  UErrorCode status = U_ZERO_ERROR;
  auto recipe = number::NumberFormatter::with()
                    .precision(number::Precision::minMaxFraction(shape.minimumFraction, shape.maximumFraction))
                    .unitWidth(widthOf(shape.width))
                    .sign(shape.isAccounting ? UNUM_SIGN_ACCOUNTING : UNUM_SIGN_AUTO)
                    .grouping(shape.isGrouped ? UNUM_GROUPING_AUTO : UNUM_GROUPING_OFF);
  switch (shape.kind) {
    case Kind::plain:
      return recipe;
    case Kind::percent:
      return std::move(recipe).unit(icu::NoUnit::percent()).scale(number::Scale::powerOfTen(2));
    case Kind::currency:
      return std::move(recipe).unit(icu::CurrencyUnit(codeOf(shape).getTerminatedBuffer(), status));
    case Kind::measure:
      return std::move(recipe).unit(icu::MeasureUnit::forIdentifier(shape.unit, status));
  }
  return recipe;
}

/// Digits, separators and grouping of a locale. Absent for numbers that are spelled out by rules.
std::optional<DecimalWriter> writerOf(const icu::Locale& locale, const NumberShape& shape) {
  UErrorCode status = U_ZERO_ERROR;
  const bool isCurrency = shape.kind == Kind::currency;
  const UNumberFormatStyle style = isCurrency                    ? UNUM_CURRENCY
                                   : shape.kind == Kind::percent ? UNUM_PERCENT
                                                                 : UNUM_DECIMAL;
  const std::unique_ptr<icu::NumberFormat> format(icu::NumberFormat::createInstance(locale, style, status));
  auto* const decimal = dynamic_cast<icu::DecimalFormat*>(format.get());
  if (decimal == nullptr) return std::nullopt;
  if (isCurrency) decimal->setCurrency(codeOf(shape).getTerminatedBuffer(), status);
  using Symbols = icu::DecimalFormatSymbols;
  const Symbols& symbols = *decimal->getDecimalFormatSymbols();
  DecimalWriter writer;
  for (int digit = 0; digit < 10; ++digit) {
    writer.digits[static_cast<std::size_t>(digit)] = fromUTF16(symbols.getConstDigitSymbol(digit));
  }
  writer.decimalSeparator = fromUTF16(
      symbols.getConstSymbol(isCurrency ? Symbols::kMonetarySeparatorSymbol : Symbols::kDecimalSeparatorSymbol));
  writer.groupingSeparator = fromUTF16(symbols.getConstSymbol(isCurrency ? Symbols::kMonetaryGroupingSeparatorSymbol
                                                                         : Symbols::kGroupingSeparatorSymbol));
  if (shape.isGrouped && decimal->isGroupingUsed()) {
    writer.primaryGroup = decimal->getGroupingSize();
    writer.secondaryGroup = decimal->getSecondaryGroupingSize();
    if (writer.secondaryGroup <= 0) writer.secondaryGroup = writer.primaryGroup;
    writer.minimumGrouping = std::max(1, decimal->getMinimumGroupingDigits());
  }
  if (U_FAILURE(status)) return std::nullopt;
  return writer;
}

/// The prepared data of one locale and shape. ICU writes the first number of each sign and plural category. Later
/// numbers reuse the texts around it, because ICU takes several times as long.
class Engine {
 public:
  explicit Engine(const Key& key) : shape_(completed(key.shape)), locale_(key.locale.c_str()) {
    if (locale_.isBogus()) locale_ = icu::Locale::getRoot();
    formatter_ = recipeOf(shape_).locale(locale_);
    hasForms_ = shape_.kind == Kind::measure || (shape_.kind == Kind::currency && shape_.width == Width::wide);
    if (hasForms_) forms_.emplace(key.locale, PluralRules::Kind::cardinal);
    if (shape_.kind == Kind::percent) shift_ = 2;
    if (auto writer = writerOf(locale_, shape_)) {
      writer_ = *std::move(writer);
      // ICU's older class does not give the minimum grouping for every style. A locale with an unusual pattern is left
      // to ICU.
      isOurs_ = std::ranges::any_of(std::array{writer_.minimumGrouping, 1, 2}, [&](int minimum) {
        writer_.minimumGrouping = minimum;
        return writesAsICU();
      });
    }
  }

  std::string string(double value) {
    const auto decimals = isOurs_ ? writer_.rounded(value, shape_.maximumFraction, shift_) : std::nullopt;
    if (!decimals || (hasForms_ && decimals->fractions() < shape_.minimumFraction)) return stringOfICU(value);
    Surroundings& around = surroundings_[formOf(*decimals)][std::signbit(value) ? 1 : 0];
    if (around.isLeftToICU) return stringOfICU(value);
    std::string text = around.affixes.prefix;
    writer_.append(text, *decimals, shape_.minimumFraction);
    if (around.isKnown) return text += around.affixes.suffix;

    std::string whole = stringOfICU(value);
    around.isKnown = true;
    const std::size_t at = whole.find(text);
    if (at == std::string::npos) {
      around.isLeftToICU = true;  // The text has another number in it, or none: the one Arabic hour is just "hour".
    } else {
      around.affixes = {whole.substr(0, at), whole.substr(at + text.size())};
    }
    return whole;
  }

  std::string string(std::int64_t value) {
    if (value > -exactIntegers && value < exactIntegers) return string(static_cast<double>(value));
    UErrorCode status = U_ZERO_ERROR;
    return fromUTF16(formatter_.formatInt(value, status).toTempString(status));
  }

  std::string range(double lower, double upper) {
    const auto first = isOurs_ && !hasForms_ ? writer_.rounded(lower, shape_.maximumFraction, shift_) : std::nullopt;
    const auto last = first ? writer_.rounded(upper, shape_.maximumFraction, shift_) : std::nullopt;
    if (!last || std::signbit(lower) || std::signbit(upper) || range_.isLeftToICU) return rangeOfICU(lower, upper);
    std::string from;
    std::string to;
    writer_.append(from, *first, shape_.minimumFraction);
    writer_.append(to, *last, shape_.minimumFraction);
    if (from == to) return rangeOfICU(lower, upper);
    if (range_.isKnown) return range_.prefix + from + range_.middle + to + range_.suffix;
    std::string whole = rangeOfICU(lower, upper);
    range_.isKnown = true;
    const std::size_t start = whole.find(from);
    const std::size_t end = start == std::string::npos ? start : whole.rfind(to);
    range_.isLeftToICU = end == std::string::npos || end < start + from.size();
    if (!range_.isLeftToICU) {
      range_.prefix = whole.substr(0, start);
      range_.middle = whole.substr(start + from.size(), end - start - from.size());
      range_.suffix = whole.substr(end + to.size());
    }
    return whole;
  }

 private:
  struct Surroundings {
    bool isKnown = false;
    bool isLeftToICU = false;
    Affixes affixes;
  };
  struct Between {
    bool isKnown = false;
    bool isLeftToICU = false;
    std::string prefix;
    std::string middle;
    std::string suffix;
  };

  /// The index of the number's plural category. Always 0 if no text depends on the category.
  std::size_t formOf(const DecimalWriter::Decimals& decimals) {
    return hasForms_ ? static_cast<std::size_t>(forms_->of(decimals)) : 0;
  }

  /// Whether this class writes some sample numbers like ICU. Forgets all texts that were learnt before.
  bool writesAsICU() {
    constexpr std::array<double, 10> samples{0, 1, 2, 12.345, -12.345, 123.5, 1234.5, 12'345.678, 1e6 + 0.891, -1e7};
    isOurs_ = true;
    surroundings_ = {};
    for (const double sample : samples) static_cast<void>(string(sample));  // ICU writes the first of a form.
    isOurs_ = std::ranges::all_of(samples, [&](double sample) { return string(sample) == stringOfICU(sample); });
    return isOurs_;
  }

  [[nodiscard]] std::string stringOfICU(double value) const {
    UErrorCode status = U_ZERO_ERROR;
    const number::FormattedNumber formatted = formatter_.formatDouble(value, status);
    return fromUTF16(formatted.toTempString(status));
  }

  std::string rangeOfICU(double lower, double upper) {
    if (!ranges_) {
      ranges_.emplace(number::NumberRangeFormatter::withLocale(locale_).numberFormatterBoth(recipeOf(shape_)));
    }
    UErrorCode status = U_ZERO_ERROR;
    const auto formatted = ranges_->formatFormattableRange(lower, upper, status);
    return fromUTF16(formatted.toTempString(status));
  }

  NumberShape shape_;
  icu::Locale locale_;
  number::LocalizedNumberFormatter formatter_;
  std::optional<number::LocalizedNumberRangeFormatter> ranges_;
  DecimalWriter writer_;
  int shift_ = 0;
  bool isOurs_ = false;
  bool hasForms_ = false;
  std::optional<PluralCategories> forms_;
  std::array<std::array<Surroundings, 2>, 6> surroundings_;
  Between range_;
};

struct Engines : RecentlyUsed<Key, Engine, 32> {};

Engine& engineOf(const std::string& locale, const NumberShape& shape) {
  return PerThread<Engines>::current().get(std::pair<const std::string&, const NumberShape&>(locale, shape),
                                           [](const Key& key) { return std::make_unique<Engine>(key); });
}

}  // namespace

std::string numberText(const std::string& locale, const NumberShape& shape, double value) {
  return engineOf(locale, shape).string(value);
}

std::string numberText(const std::string& locale, const NumberShape& shape, std::int64_t value) {
  return engineOf(locale, shape).string(value);
}

std::string numberRangeText(const std::string& locale, const NumberShape& shape, double lower, double upper) {
  return engineOf(locale, shape).range(lower, upper);
}

void setFractionDigits(NumberShape& shape, std::int64_t minimum, std::int64_t maximum) noexcept {
  constexpr std::int64_t most = 340;
  shape.minimumFraction = static_cast<int>(std::clamp<std::int64_t>(minimum, 0, most));
  shape.maximumFraction = static_cast<int>(std::clamp<std::int64_t>(maximum, shape.minimumFraction, most));
}

}  // namespace Tessaly::inline v1::detail
