// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include "Tessaly/Core/Formatters/detail/NumericStyle.hpp"

namespace Tessaly::inline v1 {

/// Writes a number as people write it. A new style groups digits and writes at most three fraction digits.
///
/// `NumberFormatter` also has affixes and rounding modes. The nearest standard facility is `std::format` with a
/// `std::locale`, which needs the locale to be generated on the machine. A thread prepares a combination of locale and
/// settings in about 100 µs. It keeps the 32 combinations that it used last. All numeric styles share these 32
/// combinations.
///
/// Thread contract: thread-compatible. Threads may share a style that no thread changes.
///
///     auto style = NumberFormatStyle().locale(Locale("de"));
///     std::cout << style.format(1'234'567.891);                // 1.234.567,891
///     std::cout << style.fractionDigits(2).format(1'234.5);    // 1.234,50
///     std::cout << style.fractionDigits(0).formatRange(3, 5);  // 3–5
class NumberFormatStyle : public detail::NumericStyle<NumberFormatStyle> {
  friend detail::NumericStyle<NumberFormatStyle>;
};

}  // namespace Tessaly::inline v1
