// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// The properties that determine the text of a number, besides the locale.
struct NumberShape {
  enum class Kind : std::uint8_t { plain, percent, currency, measure };
  enum class Width : std::uint8_t { abbreviated, narrow, wide, code };

  Kind kind = Kind::plain;
  Width width = Width::abbreviated;
  bool isGrouped = true;
  bool isAccounting = false;
  /// The upper-case code of a currency.
  std::array<char, 4> currency{};
  /// ICU's identifier of a unit, which must be a literal. Two units are equal only if their pointers are equal.
  const char* unit = nullptr;
  /// The minimum number of fraction digits. A negative value means that the currency decides the minimum and the
  /// maximum.
  int minimumFraction = 0;
  int maximumFraction = 3;

  bool operator==(const NumberShape&) const noexcept = default;
};

/// The text of a number. Each thread keeps the 32 combinations of locale and shape that it used last.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string numberText(const std::string& locale, const NumberShape& shape, double value);
/// The text of an integer, without a loss of digits.
[[nodiscard]] TESSALY_EXPORT std::string numberText(const std::string& locale, const NumberShape& shape,
                                                    std::int64_t value);
/// The text of a range of numbers, "3–5".
[[nodiscard]] TESSALY_EXPORT std::string numberRangeText(const std::string& locale, const NumberShape& shape,
                                                         double lower, double upper);

/// Sets the minimum and maximum number of fraction digits. Both are clamped to the range from 0 to 340. A maximum below
/// the minimum is raised to the minimum.
TESSALY_EXPORT void setFractionDigits(NumberShape& shape, std::int64_t minimum, std::int64_t maximum) noexcept;

}  // namespace Tessaly::inline v1::detail
