// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/detail/FieldNumbers.hpp"

#include <charconv>
#include <cmath>
#include <utility>

#include "Tessaly/Core/Formatters/NumberFormatter.hpp"
#include "Tessaly/Core/Formatters/detail/NumberOfObject.hpp"

namespace Tessaly::inline v1 {
namespace {

using Kind = FieldNotice::Kind;

bool isLess(const NSNumber& left, const NSNumber& right) {
  const auto isInteger = [](const NSNumber& number) {
    return !number.isReal() && number.kind() != NSNumber::Kind::unsignedInteger;
  };
  if (isInteger(left) && isInteger(right)) return left.integerValue() < right.integerValue();
  return left.doubleValue() < right.doubleValue();
}

bool isWhole(const NSNumber& number) {
  return !number.isReal() || std::trunc(number.doubleValue()) == number.doubleValue();
}

/// Whether further digits can turn a number into a number between two bounds. The number is positive or zero.
bool canGrow(double number, int fractionDigits, bool isFraction, bool isInteger, double lowest, double highest) {
  if (highest < number) return false;
  if (isFraction && !isInteger && number + std::pow(10.0, -fractionDigits) > lowest) return true;
  if (isFraction) return false;
  if (number == 0) return true;
  double first = number;
  double end = number + 1;
  while (first <= highest && end <= lowest && std::isfinite(end)) {
    first *= 10;
    end *= 10;
  }
  return first <= highest;
}

std::string digits(const detail::TypedNumber& reading, const std::string& separator) {
  return reading.fraction.empty() ? reading.integer : reading.integer + separator + reading.fraction;
}

bool isBeyond(const FieldNotice& notice) { return notice.kind == Kind::belowRange || notice.kind == Kind::aboveRange; }

}  // namespace

FieldEditing::Outcome FieldEditing::Numbers::outcome(std::string_view text) const {
  const std::string suffix = editing_.suffix();
  const std::string separator = rules_.number->decimalSeparator().value_or(".");
  const std::string_view body = detail::withoutSuffix(text, suffix);
  detail::TypedText typed = detail::typedText(body, separator);
  if (!typed.isBeginning && typed.readings.empty()) typed = detail::typedText(withoutPrefix(body), separator);
  if (typed.isBeginning) return beginning(typed, suffix);
  Outcome best = unreadable(Kind::notANumber, FieldState::invalid);
  for (auto reading = typed.readings.rbegin(); reading != typed.readings.rend(); ++reading) {
    Outcome found = settle(prefixOf(reading->isNegative) + digits(*reading, separator) + suffix);
    const bool isWorse = !found.object.has_value() || (isBeyond(found.notice) && !isBeyond(best.notice));
    if (best.object.has_value() && isWorse) continue;
    if (isBeyond(found.notice) && canBecome(*reading, typed.hasSeparator)) found.state = FieldState::incomplete;
    best = std::move(found);
  }
  return best;
}

bool FieldEditing::Numbers::isInRange(const NSNumber& number) const {
  const auto [lowest, highest] = rules_.range();
  return !isLess(number, lowest) && !isLess(highest, number);
}

std::string FieldEditing::Numbers::prefixOf(bool isNegative) const {
  return isNegative ? rules_.number->negativePrefix() : rules_.number->positivePrefix();
}

std::string FieldEditing::Numbers::withoutPrefix(std::string_view text) const {
  const std::string positive = prefixOf(false);
  const std::string negative = prefixOf(true);
  // The longer prefix may begin with the other one.
  const bool isPositive = text.starts_with(positive);
  const bool isNegative = text.starts_with(negative) && !(isPositive && positive.size() > negative.size());
  if (isNegative) return '-' + std::string(text.substr(negative.size()));
  return std::string(text.substr(isPositive ? positive.size() : 0));
}

FieldEditing::Outcome FieldEditing::Numbers::beginning(const detail::TypedText& typed,
                                                       const std::string& suffix) const {
  const bool isEmpty = !typed.hasSign && !typed.hasSeparator;
  Outcome outcome = unreadable(isEmpty ? Kind::empty : Kind::notANumber, FieldState::incomplete);
  if (!typed.hasSeparator) {
    Outcome zero = settle(isEmpty ? std::string() : prefixOf(typed.isNegative) + suffix);
    if (zero.object.has_value()) outcome = std::move(zero);
  }
  if (typed.hasSign) outcome.state = allowsSign(typed.isNegative) ? FieldState::incomplete : FieldState::invalid;
  return outcome;
}

bool FieldEditing::Numbers::allowsSign(bool isNegative) const {
  if (!rules_.range) return true;
  const auto [lowest, highest] = rules_.range();
  return isNegative ? isLess(lowest, NSNumber(0)) : !isLess(highest, NSNumber(0));
}

FieldEditing::Outcome FieldEditing::Numbers::settle(const std::string& text) const {
  const Judgement judgement = editing_.judge(text);
  Outcome outcome;
  outcome.object = editing_.read(text);
  const std::optional<NSNumber> number = detail::numberOfObject(outcome.object);
  if (!judgement.isAccepted) {
    if (judgement.replacement) return bound(number, *judgement.replacement);
    return unreadable(Kind::refused, FieldState::invalid, judgement.reason);
  }
  if (!number) return unreadable(Kind::notANumber, FieldState::invalid);
  outcome.shown = editing_.write(outcome.object).value_or(text);
  return rounded(*number, std::move(outcome));
}

FieldEditing::Outcome FieldEditing::Numbers::rounded(const NSNumber& number, Outcome outcome) const {
  std::optional<NSNumber> again = detail::numberOfObject(editing_.read(outcome.shown));
  if (rules_.isWhole && again && !isWhole(*again)) {
    again = NSNumber(std::nearbyint(again->doubleValue()));
    outcome.shown = editing_.write(*again).value_or(outcome.shown);
  }
  if (!again || *again == number) return outcome;
  const Judgement judgement = editing_.judge(outcome.shown);
  if (!judgement.isAccepted && judgement.replacement) {
    Outcome crossed = bound(again, *judgement.replacement);
    const bool isBound = detail::numberOfObject(crossed.object) == number;
    return isBound ? outcome : crossed;
  }
  outcome.object = *again;
  outcome.notice.kind = Kind::rounded;
  outcome.state = FieldState::invalid;
  return outcome;
}

FieldEditing::Outcome FieldEditing::Numbers::bound(const std::optional<NSNumber>& number,
                                                   const std::string& text) const {
  Outcome outcome;
  outcome.state = FieldState::invalid;
  outcome.shown = text;
  outcome.object = editing_.read(text);
  const NSNumber crossing = number.value_or(NSNumber(0));
  if (rules_.range) {
    const auto [lowest, highest] = rules_.range();
    outcome.object = isLess(crossing, lowest) ? lowest : highest;
  }
  const std::optional<NSNumber> end = detail::numberOfObject(outcome.object);
  outcome.notice.kind = end && isLess(crossing, *end) ? Kind::belowRange : Kind::aboveRange;
  return outcome;
}

bool FieldEditing::Numbers::canBecome(const detail::TypedNumber& reading, bool hasSeparator) const {
  if (!rules_.range || !allowsSign(reading.isNegative)) return !rules_.range;
  const auto [lower, upper] = rules_.range();
  const double lowest = reading.isNegative ? -upper.doubleValue() : lower.doubleValue();
  const double highest = reading.isNegative ? -lower.doubleValue() : upper.doubleValue();
  const std::string digits = reading.integer + "." + reading.fraction;
  double number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return canGrow(number, static_cast<int>(reading.fraction.size()), hasSeparator, rules_.isWhole, lowest, highest);
}

}  // namespace Tessaly::inline v1
