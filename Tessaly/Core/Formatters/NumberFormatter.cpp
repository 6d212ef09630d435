// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/NumberFormatter.hpp"

#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/fmtable.h>
#include <unicode/locid.h>
#include <unicode/numfmt.h>
#include <unicode/uchar.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "Tessaly/Core/Formatters/detail/DecimalWriter.hpp"
#include "Tessaly/Core/Formatters/detail/NumberOfObject.hpp"
#include "Tessaly/Core/Text/Characters.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Core/Text/detail/RecentlyUsed.hpp"
#include "Tessaly/Core/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr std::int64_t mostFractionDigits = 340;
constexpr std::int32_t mostIntegerDigits = 42;

std::string utf8(const icu::UnicodeString& text) { return detail::fromUTF16(text); }

icu::UnicodeString utf16(std::string_view text) {
  return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

/// The same number in fewer digits, because ICU's time grows with the square of their count. Absent if that is
/// impossible. No realistic input is affected.
std::optional<icu::UnicodeString> shortened(icu::UnicodeString units, std::u16string_view decimalSeparator) {
  // Enough for every double: 324 zeros after the point, and 767 digits to distinguish a tie from its neighbours.
  constexpr int mostDigits = 1'100;
  constexpr std::size_t mostUnits = 10'000;
  if (units.length() <= mostDigits) return units;
  const char16_t* const text = units.getBuffer();
  const std::int32_t length = units.length();
  std::u16string result;
  bool isCut = false;
  for (std::int32_t at = 0; at < length;) {
    if (result.size() > mostUnits) return std::nullopt;
    UChar32 scalar = 0;
    std::int32_t next = at;
    const auto digit = [&] {
      if (at >= length) return -1;
      next = at;
      U16_NEXT(text, next, length, scalar);
      return scalar < 0x80 ? (scalar >= '0' && scalar <= '9' ? scalar - '0' : -1) : u_charDigitValue(scalar);
    };
    if (digit() < 0) {
      result.append(text + at, text + next);
      at = next;
      continue;
    }
    const bool isFraction = !decimalSeparator.empty() && result.ends_with(decimalSeparator);
    if (isCut && !isFraction) return std::nullopt;  // An exponent could undo the cut.
    if (!isFraction) {
      std::int32_t lastZero = at;
      for (; digit() == 0; at = next) lastZero = at;
      if (digit() < 0) at = lastZero;  // All digits are zeros, so one stays.
    }
    int kept = 0;
    bool hasMore = false;
    for (int value = digit(); value >= 0; at = next, value = digit()) {
      if (kept++ < mostDigits) {
        result.append(text + at, text + next);
      } else {
        hasMore = hasMore || value > 0;
        isCut = isCut || !isFraction;
      }
    }
    if (hasMore) result += u'1';
  }
  if (result.size() > mostUnits) return std::nullopt;
  return icu::UnicodeString(result.data(), static_cast<std::int32_t>(result.size()));
}

detail::DecimalWriter::Rounding exactRounding(NumberFormatter::RoundingMode mode) {
  using enum NumberFormatter::RoundingMode;
  switch (mode) {
    case halfEven:
      return detail::DecimalWriter::Rounding::halfEven;
    case halfDown:
      return detail::DecimalWriter::Rounding::halfDown;
    case halfUp:
      return detail::DecimalWriter::Rounding::halfUp;
    default:
      return detail::DecimalWriter::Rounding::other;
  }
}

}  // namespace

struct NumberFormatter::Configuration {
  std::optional<Locale> locale;
  Style style = Style::none;
  std::optional<std::string> negativeFormat;
  std::optional<std::string> positivePrefix;
  std::optional<std::string> negativePrefix;
  std::optional<std::string> positiveSuffix;
  std::optional<std::string> negativeSuffix;
  std::int64_t minimumFractionDigits = 0;
  std::int64_t maximumFractionDigits = 0;
  RoundingMode roundingMode = RoundingMode::halfEven;
  std::optional<std::string> zeroSymbol;
};

/// The prepared data of one locale.
class NumberFormatter::Engine {
 public:
  Engine(const Configuration& configuration, const std::string& identifier)
      : format_(makeFormat(configuration.style, icu::Locale(identifier.c_str()))) {
    // Each change makes ICU prepare everything again, so equal values are not set again.
    if (configuration.roundingMode != RoundingMode::halfEven) {
      format_->setRoundingMode(static_cast<icu::DecimalFormat::ERoundingMode>(configuration.roundingMode));
    }
    if (format_->isLenient()) format_->setLenient(false);
    if (configuration.negativeFormat) {
      UErrorCode status = U_ZERO_ERROR;
      icu::UnicodeString pattern;
      format_->toPattern(pattern);
      const icu::UnicodeString positive =
          pattern.indexOf(u';') < 0 ? pattern : pattern.tempSubString(0, pattern.indexOf(u';'));
      format_->applyPattern(positive + u";" + utf16(*configuration.negativeFormat), status);
    }
    if (configuration.positivePrefix) format_->setPositivePrefix(utf16(*configuration.positivePrefix));
    if (configuration.negativePrefix) format_->setNegativePrefix(utf16(*configuration.negativePrefix));
    if (configuration.positiveSuffix) format_->setPositiveSuffix(utf16(*configuration.positiveSuffix));
    if (configuration.negativeSuffix) format_->setNegativeSuffix(utf16(*configuration.negativeSuffix));

    const icu::DecimalFormatSymbols& symbols = *format_->getDecimalFormatSymbols();
    for (int digit = 0; digit < 10; ++digit) {
      writer_.digits[static_cast<std::size_t>(digit)] = utf8(symbols.getConstDigitSymbol(digit));
    }
    decimalSeparator_ = symbols.getConstSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol);
    writer_.decimalSeparator = utf8(decimalSeparator_);
    writer_.groupingSeparator = symbol(icu::DecimalFormatSymbols::kGroupingSeparatorSymbol);
    writer_.rounding = exactRounding(configuration.roundingMode);
    if (format_->isGroupingUsed()) {
      writer_.primaryGroup = format_->getGroupingSize();
      writer_.secondaryGroup = format_->getSecondaryGroupingSize();
      if (writer_.secondaryGroup <= 0) writer_.secondaryGroup = writer_.primaryGroup;
      writer_.minimumGrouping = std::max(1, format_->getMinimumGroupingDigits());
    }
  }

  /// ICU takes longer for these texts than for a number, so those of each sign are made at their first use.
  [[nodiscard]] const detail::Affixes& affixes(bool isNegative) {
    std::optional<detail::Affixes>& known = affixes_[isNegative ? 1 : 0];
    if (!known) {
      icu::UnicodeString prefix;
      icu::UnicodeString suffix;
      isNegative ? format_->getNegativePrefix(prefix) : format_->getPositivePrefix(prefix);
      isNegative ? format_->getNegativeSuffix(suffix) : format_->getPositiveSuffix(suffix);
      known = {utf8(prefix), utf8(suffix)};
    }
    return *known;
  }
  [[nodiscard]] std::string symbol(icu::DecimalFormatSymbols::ENumberFormatSymbol which) const {
    return utf8(format_->getDecimalFormatSymbols()->getConstSymbol(which));
  }

  std::string string(double value, std::int64_t minimum, std::int64_t maximum) {
    if (const auto decimals = writer_.rounded(value, static_cast<int>(maximum))) {
      const detail::Affixes& around = affixes(std::signbit(value));
      std::string text = around.prefix;
      writer_.append(text, *decimals, static_cast<int>(minimum));
      return text += around.suffix;
    }
    limitDigits(minimum, maximum);
    icu::UnicodeString units;
    unscaledFormat().format(value, units);
    return utf8(units);
  }

  std::string string(std::int64_t value, std::int64_t minimum, std::int64_t maximum) {
    limitDigits(minimum, maximum);
    icu::UnicodeString units;
    unscaledFormat().format(value, units);
    return utf8(units);
  }

  [[nodiscard]] std::optional<NSNumber> number(std::string_view text) const {
    const std::optional<icu::UnicodeString> units = shortened(
        utf16(text),
        std::u16string_view(decimalSeparator_.getBuffer(), static_cast<std::size_t>(decimalSeparator_.length())));
    if (!units) return std::nullopt;
    icu::Formattable result;
    icu::ParsePosition position(0);
    unscaledFormat().parse(*units, result, position);
    if (position.getErrorIndex() >= 0 || position.getIndex() == 0 || position.getIndex() != units->length()) {
      return std::nullopt;
    }
    switch (result.getType()) {
      case icu::Formattable::kLong:
        return NSNumber(std::int64_t{result.getLong()});
      case icu::Formattable::kInt64:
        return NSNumber(std::int64_t{result.getInt64()});
      default:
        return NSNumber(result.getDouble());
    }
  }

 private:
  static std::unique_ptr<icu::DecimalFormat> makeFormat(Style style, const icu::Locale& locale) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale& known = locale.isBogus() ? icu::Locale::getRoot() : locale;
    if (style == Style::none) {
      auto format = std::make_unique<icu::DecimalFormat>(icu::UnicodeString(u"#"),
                                                         new icu::DecimalFormatSymbols(known, status), status);
      format->setMaximumIntegerDigits(mostIntegerDigits);
      format->setGroupingUsed(false);
      return format;
    }
    std::unique_ptr<icu::NumberFormat> format(style == Style::percent
                                                  ? icu::NumberFormat::createPercentInstance(known, status)
                                                  : icu::NumberFormat::createInstance(known, status));
    auto* decimal = dynamic_cast<icu::DecimalFormat*>(format.get());
    if (decimal == nullptr) {
      // A locale whose numbers follow spelling rules, "en@numbers=roman", has no decimal pattern.
      return std::make_unique<icu::DecimalFormat>(
          icu::UnicodeString(style == Style::percent ? u"#,##0%" : u"#,##0.###"),
          new icu::DecimalFormatSymbols(known, status), status);
    }
    static_cast<void>(format.release());
    return std::unique_ptr<icu::DecimalFormat>(decimal);
  }

  /// The format without the factor of 100 that ICU gives percentages. It is removed before the first use, because most
  /// formatters need no format of ICU after the constructor.
  [[nodiscard]] icu::DecimalFormat& unscaledFormat() const {
    if (format_->getMultiplier() != 1) format_->setMultiplier(1);
    return *format_;
  }

  void limitDigits(std::int64_t minimum, std::int64_t maximum) {
    if (format_->getMaximumFractionDigits() != maximum) {
      format_->setMaximumFractionDigits(static_cast<std::int32_t>(maximum));
    }
    if (format_->getMinimumFractionDigits() != minimum) {
      format_->setMinimumFractionDigits(static_cast<std::int32_t>(minimum));
    }
  }

  std::unique_ptr<icu::DecimalFormat> format_;
  icu::UnicodeString decimalSeparator_;
  /// For positive and for negative numbers.
  std::array<std::optional<detail::Affixes>, 2> affixes_;
  detail::DecimalWriter writer_;
};

class NumberFormatter::State {
 public:
  Configuration configuration;
  detail::RecentlyUsed<std::string, Engine, 8> engines;
};

NumberFormatter::NumberFormatter() : state_(std::make_unique<State>()) {}
NumberFormatter::~NumberFormatter() = default;

std::string_view NumberFormatter::className() const noexcept { return "Tessaly.NumberFormatter"; }

NumberFormatter::Engine& NumberFormatter::engine() const {
  const Configuration& configuration = state_->configuration;
  const Locale& locale = configuration.locale ? *configuration.locale : detail::currentLocale();
  return state_->engines.get(locale.identifier(), [&](const std::string& identifier) {
    return std::make_unique<Engine>(configuration, identifier);
  });
}

NumberFormatter::Configuration& NumberFormatter::change() {
  state_->engines.clear();
  return state_->configuration;
}

const std::optional<Locale>& NumberFormatter::locale() const noexcept { return state_->configuration.locale; }
void NumberFormatter::setLocale(const std::optional<Locale>& locale) { state_->configuration.locale = locale; }

NumberFormatter::Style NumberFormatter::numberStyle() const noexcept { return state_->configuration.style; }
void NumberFormatter::setNumberStyle(Style style) {
  Configuration& configuration = change();
  configuration.style = style;
  configuration.minimumFractionDigits = 0;
  configuration.maximumFractionDigits = style == Style::decimal ? 3 : 0;
}

const std::optional<std::string>& NumberFormatter::negativeFormat() const noexcept {
  return state_->configuration.negativeFormat;
}
void NumberFormatter::setNegativeFormat(const std::optional<std::string>& format) { change().negativeFormat = format; }

std::string NumberFormatter::positivePrefix() const { return engine().affixes(false).prefix; }
void NumberFormatter::setPositivePrefix(const std::optional<std::string>& prefix) { change().positivePrefix = prefix; }
std::string NumberFormatter::negativePrefix() const { return engine().affixes(true).prefix; }
void NumberFormatter::setNegativePrefix(const std::optional<std::string>& prefix) { change().negativePrefix = prefix; }
std::string NumberFormatter::positiveSuffix() const { return engine().affixes(false).suffix; }
void NumberFormatter::setPositiveSuffix(const std::optional<std::string>& suffix) { change().positiveSuffix = suffix; }
std::string NumberFormatter::negativeSuffix() const { return engine().affixes(true).suffix; }
void NumberFormatter::setNegativeSuffix(const std::optional<std::string>& suffix) { change().negativeSuffix = suffix; }

std::int64_t NumberFormatter::minimumFractionDigits() const noexcept {
  return state_->configuration.minimumFractionDigits;
}
void NumberFormatter::setMinimumFractionDigits(std::int64_t digits) noexcept {
  Configuration& configuration = state_->configuration;
  configuration.minimumFractionDigits = std::clamp<std::int64_t>(digits, 0, mostFractionDigits);
  configuration.maximumFractionDigits =
      std::max(configuration.maximumFractionDigits, configuration.minimumFractionDigits);
}
std::int64_t NumberFormatter::maximumFractionDigits() const noexcept {
  return state_->configuration.maximumFractionDigits;
}
void NumberFormatter::setMaximumFractionDigits(std::int64_t digits) noexcept {
  Configuration& configuration = state_->configuration;
  configuration.maximumFractionDigits = std::clamp<std::int64_t>(digits, 0, mostFractionDigits);
  configuration.minimumFractionDigits =
      std::min(configuration.minimumFractionDigits, configuration.maximumFractionDigits);
}

NumberFormatter::RoundingMode NumberFormatter::roundingMode() const noexcept {
  return state_->configuration.roundingMode;
}
void NumberFormatter::setRoundingMode(RoundingMode mode) { change().roundingMode = mode; }

const std::optional<std::string>& NumberFormatter::zeroSymbol() const noexcept {
  return state_->configuration.zeroSymbol;
}
void NumberFormatter::setZeroSymbol(const std::optional<std::string>& symbol) {
  state_->configuration.zeroSymbol = symbol;
}

std::string NumberFormatter::plusSign() const { return engine().symbol(icu::DecimalFormatSymbols::kPlusSignSymbol); }
std::string NumberFormatter::minusSign() const { return engine().symbol(icu::DecimalFormatSymbols::kMinusSignSymbol); }
std::optional<std::string> NumberFormatter::decimalSeparator() const {
  std::string separator = engine().symbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol);
  if (separator.empty()) return std::nullopt;
  return separator;
}

std::optional<std::string> NumberFormatter::string(const NSNumber& number) const {
  const Configuration& configuration = state_->configuration;
  const std::int64_t minimum = configuration.minimumFractionDigits;
  const std::int64_t maximum = configuration.maximumFractionDigits;
  const double value = number.doubleValue();
  if (configuration.zeroSymbol && value == 0) return configuration.zeroSymbol;
  if (configuration.style == Style::percent) return engine().string(value * 100, minimum, maximum);
  // Above 2^53 a double would lose digits of the integer.
  constexpr double exactIntegers = 9'007'199'254'740'992.0;
  if (number.kind() == NSNumber::Kind::integer && std::abs(value) > exactIntegers) {
    return engine().string(number.integerValue(), minimum, maximum);
  }
  return engine().string(value, minimum, maximum);
}

std::optional<std::string> NumberFormatter::string(const std::any& object) const {
  const std::optional<NSNumber> number = detail::numberOfObject(object);
  return number ? string(*number) : std::nullopt;
}

std::optional<NSNumber> NumberFormatter::number(std::string_view text) const {
  if (text.empty() || text.size() > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
  const Configuration& configuration = state_->configuration;
  if (configuration.zeroSymbol && text == *configuration.zeroSymbol) return NSNumber(0);
  std::optional<NSNumber> number = engine().number(text);
  if (!number) {
    // ICU accepts leading white space only in its lenient mode.
    Text::Scalars scalars(text);
    auto first = scalars.begin();
    while (first != scalars.end() && Text::isWhiteSpace(*first)) ++first;
    if (first.offset() > 0) number = engine().number(text.substr(first.offset()));
  }
  if (number && configuration.style == Style::percent) return NSNumber(number->doubleValue() / 100);
  return number;
}

bool NumberFormatter::getObjectValue(std::any* object, std::string_view text, std::optional<std::string>*) {
  const std::optional<NSNumber> read = number(text);
  if (!read) return false;
  if (object != nullptr) *object = *read;
  return true;
}

}  // namespace Tessaly::inline v1
