// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

namespace Tessaly::inline v1::detail {

RangeNumberFormatter::RangeNumberFormatter(bool hasNegativeValues) {
  Formatters::registerClasses();
  if (hasNegativeValues) {
    setPositivePrefix(plusSign());
    setNegativePrefix(minusSign());
  } else {
    // The signs of the locale stay. Without the locale's minus sign, "-5" could not be parsed, and the bound could not
    // replace "-5".
    setPositivePrefix(std::nullopt);
    setNegativePrefix(std::nullopt);
  }
  configureZeroSymbol();
}

RangeNumberFormatter::~RangeNumberFormatter() = default;

std::string_view RangeNumberFormatter::className() const noexcept { return "Tessaly.RangeNumber"; }

void RangeNumberFormatter::setShowFractionDigitsInZeroSymbol(bool show) {
  showFractionDigitsInZeroSymbol_ = show;
  configure();
}

void RangeNumberFormatter::setSuffix(const std::optional<std::string>& suffix) {
  suffix_ = suffix;
  configure();
}

void RangeNumberFormatter::configure() {
  setPositiveSuffix(suffix_.value_or(""));
  setNegativeSuffix(suffix_.value_or(""));
  configureZeroSymbol();
}

void RangeNumberFormatter::configureZeroSymbol() {
  std::string zero = "0";
  if (showFractionDigitsInZeroSymbol_) {
    if (const std::optional<std::string> separator = decimalSeparator()) zero += *separator + "0";
  }
  setZeroSymbol(zero + suffix_.value_or(""));
}

std::optional<NSNumber> RangeNumberFormatter::readAnyString(std::string_view text) const {
  if (text.empty()) return acceptsEmptyString_ ? std::optional(NSNumber(0)) : std::nullopt;
  const std::string positive = positivePrefix();
  const std::string negative = negativePrefix();
  const std::string suffix = suffix_.value_or("");
  std::string whole(text);
  if (!text.starts_with(negative) && !text.starts_with(positive)) whole.insert(0, positive);
  if (!whole.ends_with(suffix)) whole += suffix;
  if (whole == negative + suffix || whole == positive + suffix) return NSNumber(0);
  return number(whole);
}

void RangeNumberFormatter::stopMakingFromArchive() noexcept {
  fatalError("init(coder:) has not been implemented", "Tessaly/Formatters+RangeNumber", __LINE__);
}

}  // namespace Tessaly::inline v1::detail
