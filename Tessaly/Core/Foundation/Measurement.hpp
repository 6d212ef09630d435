// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// A unit of information, for example bytes or megabytes. The coefficient of a unit is its number of bytes.
///
/// Thread contract: thread-compatible.
///
///     show(UnitInformationStorage::kilobytes.symbol());  // kB
class UnitInformationStorage {
 public:
  static const UnitInformationStorage bytes;
  static const UnitInformationStorage kilobytes;
  static const UnitInformationStorage megabytes;
  static const UnitInformationStorage gigabytes;

  [[nodiscard]] constexpr std::string_view symbol() const noexcept { return symbol_; }
  [[nodiscard]] constexpr double coefficient() const noexcept { return coefficient_; }
  friend constexpr bool operator==(const UnitInformationStorage&, const UnitInformationStorage&) noexcept = default;

 private:
  constexpr UnitInformationStorage(std::string_view symbol, double coefficient) noexcept
      : symbol_(symbol), coefficient_(coefficient) {}

  std::string_view symbol_;
  double coefficient_;
};

inline constexpr UnitInformationStorage UnitInformationStorage::bytes{"B", 1};
inline constexpr UnitInformationStorage UnitInformationStorage::kilobytes{"kB", 1e3};
inline constexpr UnitInformationStorage UnitInformationStorage::megabytes{"MB", 1e6};
inline constexpr UnitInformationStorage UnitInformationStorage::gigabytes{"GB", 1e9};

/// An amount: a number and its unit.
///
/// The nearest standard facility is `std::chrono::duration`, whose unit is part of the type.
///
/// Thread contract: thread-compatible.
///
///     const Measurement<UnitInformationStorage> size(2.5e9, UnitInformationStorage::bytes);
///     std::cout << size.converted(UnitInformationStorage::gigabytes).value() << '\n';  // 2.5
template <typename Unit>
class Measurement {
 public:
  constexpr Measurement(double value, Unit unit) noexcept : value_(value), unit_(unit) {}

  [[nodiscard]] constexpr double value() const noexcept { return value_; }
  [[nodiscard]] constexpr const Unit& unit() const noexcept TESSALY_LIFETIMEBOUND { return unit_; }
  [[nodiscard]] constexpr Measurement converted(Unit unit) const noexcept {
    if (unit == unit_) return *this;
    return {value_ * unit_.coefficient() / unit.coefficient(), unit};
  }
  /// Whether both are the same amount. The units may differ.
  friend constexpr bool operator==(const Measurement& left, const Measurement& right) noexcept {
    return left.value_ * left.unit_.coefficient() == right.value_ * right.unit_.coefficient();
  }

 private:
  double value_;
  Unit unit_;
};

}  // namespace Tessaly::inline v1
