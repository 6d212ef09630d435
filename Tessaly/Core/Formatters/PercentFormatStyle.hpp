// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include "Tessaly/Core/Formatters/detail/NumericStyle.hpp"

namespace Tessaly::inline v1 {

/// Writes a ratio as a percentage: 0.5 is "50%". A new style writes no fraction digits.
///
/// The value is multiplied by one hundred exactly. So 0.575 is 57.5 per cent, a tie, which is rounded to even: "58%".
/// `NumberFormatter` multiplies in double precision and writes "57%". The cost is that of `NumberFormatStyle`.
///
/// Thread contract: thread-compatible. Threads may share a style that no thread changes.
///
///     auto style = PercentFormatStyle().locale(Locale("fr"));
///     std::cout << style.format(0.5);                       // 50 %
///     std::cout << style.fractionDigits(1).format(0.1234);  // 12,3 %
class PercentFormatStyle : public detail::NumericStyle<PercentFormatStyle> {
 public:
  PercentFormatStyle() {
    shape_.kind = detail::NumberShape::Kind::percent;
    shape_.maximumFraction = 0;
  }

 private:
  friend detail::NumericStyle<PercentFormatStyle>;
};

}  // namespace Tessaly::inline v1
