// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Formatters/Parsing.hpp"
#include "Tessaly/Core/Formatters/Quantity.hpp"
#include "Tessaly/Core/Formatters/detail/NumericStyle.hpp"

namespace Tessaly::inline v1 {

/// Writes a measurement in the units of the reader: "12 km", "7.5 mi", "54°F". A new style writes at most one fraction
/// digit.
///
/// The unit follows the measurement system of the style's locale. A style without a locale uses the system of
/// `FormatsLocale::measurement()`. A call of `system` takes precedence over both. For lengths, masses, volumes and data
/// rates, the unit's size also follows the amount: 0.4 km is "400 m". `ByteCountFormatStyle` writes sizes of files. The
/// standard library has no counterpart. The cost is that of `NumberFormatStyle`.
///
/// Thread contract: thread-compatible. Threads may share a style that no thread changes.
///
///     auto style = MeasurementFormatStyle().locale(Locale("en_US"));
///     std::cout << style.format({12, Quantity::Unit::kilometer});  // 7.5 mi
///     auto metric = style.system(MeasurementSystem::metric);
///     std::cout << metric.format({0.4, Quantity::Unit::kilometer});  // 400 m
class MeasurementFormatStyle : public detail::NumericStyle<MeasurementFormatStyle> {
 public:
  /// "12 kilometers", "12 km", "12km".
  enum class Width : std::uint8_t { wide, abbreviated, narrow };
  /// `automatic`: the unit that suits the measurement system and the amount. `asGiven`: the measurement's own unit.
  enum class UnitChoice : std::uint8_t { automatic, asGiven };

  MeasurementFormatStyle() {
    shape_.kind = detail::NumberShape::Kind::measure;
    shape_.maximumFraction = 1;
  }

  /// Sets the width. The default is `abbreviated`.
  [[nodiscard]] MeasurementFormatStyle width(Width width) const {
    using Shape = detail::NumberShape::Width;
    return changed([&](MeasurementFormatStyle& style) {
      style.shape_.width = width == Width::wide     ? Shape::wide
                           : width == Width::narrow ? Shape::narrow
                                                    : Shape::abbreviated;
    });
  }
  /// Sets the choice of the unit. The default is `automatic`.
  [[nodiscard]] MeasurementFormatStyle unit(UnitChoice choice) const {
    return changed([&](MeasurementFormatStyle& style) { style.choice_ = choice; });
  }
  /// Sets the measurement system. By default it is absent, which means the system of the style's locale. If the locale
  /// is absent too, the style uses the system of `FormatsLocale::measurement()`.
  [[nodiscard]] MeasurementFormatStyle system(const std::optional<MeasurementSystem>& system) const {
    return changed([&](MeasurementFormatStyle& style) { style.system_ = system; });
  }

  [[nodiscard]] TESSALY_EXPORT std::string format(const Quantity& measurement) const;
  /// The text of a range of measurements. Both measurements are written in the unit that is chosen for `lower`. If the
  /// units of `lower` and `upper` are of different kinds, the process stops.
  [[nodiscard]] TESSALY_EXPORT std::string formatRange(const Quantity& lower, const Quantity& upper) const;

  /// The measurement that a text states. Absent if the text is not a measurement, or has a unit of another kind than
  /// `assumed`. In lenient parsing, a number without a unit is in the assumed unit. If the locale writes several units
  /// alike, the assumed unit has priority. In lenient parsing, the case of letters matters only if it is the only
  /// difference between two units, such as "Mb/s" and "MB/s". O(n).
  [[nodiscard]] TESSALY_EXPORT std::optional<Quantity> parse(std::string_view text, Quantity::Unit assumed,
                                                             Parsing parsing = Parsing::lenient) const;

  friend bool operator==(const MeasurementFormatStyle&, const MeasurementFormatStyle&) noexcept = default;

 private:
  friend detail::NumericStyle<MeasurementFormatStyle>;

  [[nodiscard]] Quantity suited(const Quantity& measurement) const;
  [[nodiscard]] detail::NumberShape shapeOf(Quantity::Unit unit) const;
  [[nodiscard]] std::string_view withoutBareDegree(std::string_view text, Quantity::Unit assumed) const;

  UnitChoice choice_ = UnitChoice::automatic;
  std::optional<MeasurementSystem> system_;
};

}  // namespace Tessaly::inline v1
