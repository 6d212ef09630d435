// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/MeasurementFormatStyle.hpp"

#include <array>
#include <cmath>
#include <initializer_list>
#include <span>

#include "Tessaly/Core/Formatters/FormatsLocale.hpp"
#include "Tessaly/Core/Formatters/detail/NumberReading.hpp"

namespace Tessaly::inline v1 {
namespace {

using Unit = Quantity::Unit;
using Kind = Quantity::Kind;

/// ICU's identifiers, in the order of the units.
constexpr std::array<const char*, 31> identifiers{"celsius",
                                                  "fahrenheit",
                                                  "kelvin",
                                                  "millimeter",
                                                  "centimeter",
                                                  "meter",
                                                  "kilometer",
                                                  "inch",
                                                  "foot",
                                                  "yard",
                                                  "mile",
                                                  "meter-per-second",
                                                  "kilometer-per-hour",
                                                  "mile-per-hour",
                                                  "knot",
                                                  "gram",
                                                  "kilogram",
                                                  "ounce",
                                                  "pound",
                                                  "milliliter",
                                                  "liter",
                                                  "fluid-ounce",
                                                  "gallon",
                                                  "byte-per-second",
                                                  "kilobyte-per-second",
                                                  "megabyte-per-second",
                                                  "gigabyte-per-second",
                                                  "bit-per-second",
                                                  "kilobit-per-second",
                                                  "megabit-per-second",
                                                  "gigabit-per-second"};
static_assert(identifiers.size() == static_cast<std::size_t>(Unit::gigabitPerSecond) + 1);

/// The measurement in the largest of the units in which its absolute value is at least 1, or else in the smallest. The
/// units are given from the largest to the smallest.
Quantity inLargest(const Quantity& measurement, std::initializer_list<Unit> units) {
  Quantity result = measurement;
  for (const Unit unit : units) {
    result = measurement.converted(unit);
    if (std::abs(result.value) >= 1) break;
  }
  return result;
}

Quantity lengthIn(MeasurementSystem system, const Quantity& length) {
  switch (system) {
    case MeasurementSystem::us:
      return inLargest(length, {Unit::mile, Unit::foot, Unit::inch});
    case MeasurementSystem::uk:
      return inLargest(length, {Unit::mile, Unit::yard, Unit::inch});
    case MeasurementSystem::metric:
      break;
  }
  return inLargest(length, {Unit::kilometer, Unit::meter, Unit::centimeter, Unit::millimeter});
}

Quantity dataRateOf(const Quantity& rate) {
  if (rate.unit >= Unit::bitPerSecond) {
    return inLargest(rate,
                     {Unit::gigabitPerSecond, Unit::megabitPerSecond, Unit::kilobitPerSecond, Unit::bitPerSecond});
  }
  return inLargest(rate,
                   {Unit::gigabytePerSecond, Unit::megabytePerSecond, Unit::kilobytePerSecond, Unit::bytePerSecond});
}

Quantity inSystem(MeasurementSystem system, const Quantity& measurement) {
  const bool isUS = system == MeasurementSystem::us;
  switch (Quantity::kindOf(measurement.unit)) {
    case Kind::temperature:
      return measurement.converted(isUS ? Unit::fahrenheit : Unit::celsius);
    case Kind::length:
      return lengthIn(system, measurement);
    case Kind::speed:
      return measurement.converted(system == MeasurementSystem::metric ? Unit::kilometerPerHour : Unit::milePerHour);
    case Kind::mass:
      return isUS ? inLargest(measurement, {Unit::pound, Unit::ounce})
                  : inLargest(measurement, {Unit::kilogram, Unit::gram});
    case Kind::volume:
      return isUS ? inLargest(measurement, {Unit::gallon, Unit::fluidOunce})
                  : inLargest(measurement, {Unit::liter, Unit::milliliter});
    case Kind::dataRate:
      return dataRateOf(measurement);
  }
  return measurement;
}

}  // namespace

Quantity MeasurementFormatStyle::suited(const Quantity& measurement) const {
  if (choice_ == UnitChoice::asGiven) return measurement;
  if (system_) return inSystem(*system_, measurement);
  return inSystem(measurementSystem(locale_ ? *locale_ : FormatsLocale::measurement()), measurement);
}

detail::NumberShape MeasurementFormatStyle::shapeOf(Quantity::Unit unit) const {
  detail::NumberShape shape = shape_;
  shape.unit = identifiers[static_cast<std::size_t>(unit)];
  return shape;
}

std::string MeasurementFormatStyle::format(const Quantity& measurement) const {
  const Quantity shown = suited(measurement);
  return detail::numberText(identifier(), shapeOf(shown.unit), shown.value);
}

std::string MeasurementFormatStyle::formatRange(const Quantity& lower, const Quantity& upper) const {
  const Quantity first = suited(lower);
  return detail::numberRangeText(identifier(), shapeOf(first.unit), first.value, upper.converted(first.unit).value);
}

/// The text without a bare degree sign at its end. A degree sign without a letter means the assumed unit, even if the
/// locale writes it for another unit.
std::string_view MeasurementFormatStyle::withoutBareDegree(std::string_view text, Unit assumed) const {
  constexpr std::string_view degree = "\u00B0";
  if (!text.ends_with(degree)) return text;
  const std::string_view number = text.substr(0, text.size() - degree.size());
  const bool isBare = detail::readNumber(identifier(), shapeOf(assumed), number).label == detail::LabelMatch::absent;
  return isBare ? number : text;
}

std::optional<Quantity> MeasurementFormatStyle::parse(std::string_view text, Quantity::Unit assumed,
                                                      Parsing parsing) const {
  using detail::LabelMatch;
  std::array<Unit, identifiers.size()> units{assumed};
  std::size_t count = 1;
  for (std::size_t index = 0; index < identifiers.size(); ++index) {
    const auto unit = static_cast<Unit>(index);
    if (unit != assumed && Quantity::kindOf(unit) == Quantity::kindOf(assumed)) units[count++] = unit;
  }
  if (parsing == Parsing::lenient && Quantity::kindOf(assumed) == Kind::temperature)
    text = withoutBareDegree(text, assumed);
  std::optional<Quantity> found;
  for (const Unit unit : std::span(units).first(count)) {
    const detail::NumberReading reading = detail::readNumber(identifier(), shapeOf(unit), text);
    for (const double value : reading.values) {
      const Quantity measurement{value, unit};
      if (parsing == Parsing::strict ? format(measurement) == text : reading.label == LabelMatch::exact) {
        return measurement;
      }
      const bool isPossible = reading.label == LabelMatch::anyCase || unit == assumed;
      if (parsing == Parsing::lenient && isPossible && !found) found = measurement;
    }
  }
  return found;
}

}  // namespace Tessaly::inline v1
