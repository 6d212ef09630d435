// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/Quantity.hpp"

#include <unicode/ulocdata.h>

#include <array>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {
namespace {

/// The kind of a unit, and the size and the offset of the unit in the kind's base unit (kelvin, meter, ...).
struct Scale {
  Quantity::Kind kind;
  double factor;
  double offset = 0;
};

using enum Quantity::Kind;

/// In the order of the units.
constexpr std::array scales{
    Scale{temperature, 1, 273.15},
    Scale{temperature, 5.0 / 9, 273.15 - 160.0 / 9},
    Scale{temperature, 1},
    Scale{length, 0.001},
    Scale{length, 0.01},
    Scale{length, 1},
    Scale{length, 1000},
    Scale{length, 0.0254},
    Scale{length, 0.3048},
    Scale{length, 0.9144},
    Scale{length, 1609.344},
    Scale{speed, 1},
    Scale{speed, 1 / 3.6},
    Scale{speed, 0.44704},
    Scale{speed, 1852.0 / 3600},
    Scale{mass, 0.001},
    Scale{mass, 1},
    Scale{mass, 0.028349523125},
    Scale{mass, 0.45359237},
    Scale{volume, 0.001},
    Scale{volume, 1},
    Scale{volume, 0.0295735295625},
    Scale{volume, 3.785411784},
    Scale{dataRate, 8},
    Scale{dataRate, 8e3},
    Scale{dataRate, 8e6},
    Scale{dataRate, 8e9},
    Scale{dataRate, 1},
    Scale{dataRate, 1e3},
    Scale{dataRate, 1e6},
    Scale{dataRate, 1e9},
};
static_assert(scales.size() == static_cast<std::size_t>(Quantity::Unit::gigabitPerSecond) + 1);

constexpr const Scale& scaleOf(Quantity::Unit unit) noexcept { return scales[static_cast<std::size_t>(unit)]; }

}  // namespace

MeasurementSystem measurementSystem(const Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  const UMeasurementSystem system = ulocdata_getMeasurementSystem(locale.identifier().c_str(), &status);
  if (U_FAILURE(status)) return MeasurementSystem::metric;
  return system == UMS_US   ? MeasurementSystem::us
         : system == UMS_UK ? MeasurementSystem::uk
                            : MeasurementSystem::metric;
}

Quantity::Kind Quantity::kindOf(Unit unit) noexcept { return scaleOf(unit).kind; }

Quantity Quantity::converted(Unit target) const {
  if (target == unit) return *this;
  const Scale& from = scaleOf(unit);
  const Scale& to = scaleOf(target);
  if (from.kind != to.kind) {
    fatalError("A measurement cannot be converted to a unit of another kind", "Tessaly/Quantity", __LINE__);
  }
  return {(value * from.factor + from.offset - to.offset) / to.factor, target};
}

}  // namespace Tessaly::inline v1
