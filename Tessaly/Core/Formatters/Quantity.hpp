// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1 {

/// The systems of units that countries use. `uk` has miles, yards, inches and miles per hour. Its other units are
/// metric.
enum class MeasurementSystem : std::uint8_t { metric, us, uk };

/// The system of units of a locale's country: "de_DE" gives `metric`. If the locale has no country, the function uses
/// the most likely country of the locale's language: "en" gives `us`.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT MeasurementSystem measurementSystem(const Locale& locale);

/// An amount in a unit.
///
/// Converting between units of different kinds stops the process.
///
/// Thread contract: thread-compatible.
///
///     Quantity marathon{42.195, Quantity::Unit::kilometer};
///     double miles = marathon.converted(Quantity::Unit::mile).value;  // 26.2188
struct Quantity {
  enum class Unit : std::uint8_t {
    celsius,
    fahrenheit,
    kelvin,
    millimeter,
    centimeter,
    meter,
    kilometer,
    inch,
    foot,
    yard,
    mile,
    meterPerSecond,
    kilometerPerHour,
    milePerHour,
    knot,
    gram,
    kilogram,
    ounce,
    pound,
    milliliter,
    liter,
    fluidOunce,
    gallon,
    bytePerSecond,
    kilobytePerSecond,
    megabytePerSecond,
    gigabytePerSecond,
    bitPerSecond,
    kilobitPerSecond,
    megabitPerSecond,
    gigabitPerSecond,
  };
  enum class Kind : std::uint8_t { temperature, length, speed, mass, volume, dataRate };

  double value = 0;
  Unit unit = Unit::meter;

  [[nodiscard]] TESSALY_EXPORT static Kind kindOf(Unit unit) noexcept;
  /// The same amount in another unit of the same kind. A unit of another kind stops the process. The prefixes of data
  /// rates are powers of 1,000.
  [[nodiscard]] TESSALY_EXPORT Quantity converted(Unit target) const;

  friend bool operator==(const Quantity&, const Quantity&) noexcept = default;
};

}  // namespace Tessaly::inline v1
