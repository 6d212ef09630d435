// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

/// The locales for the formats of dates, numbers, money and measures. Desktop users choose these locales separately
/// from the language.
///
/// Each locale is the first nonempty value of `LC_ALL`, the category's variable and `LANG`, without the encoding:
/// "de_DE.UTF-8" becomes "de_DE". "C", "POSIX" and an environment without these variables give "en_US_POSIX".
/// `Locale::current()` is the locale of the language (`LC_MESSAGES`). A style that names no locale writes in
/// `Locale::current()`, not in one of the locales of this namespace. Only the units of such a `MeasurementFormatStyle`
/// follow `measurement()`. Every call reads the environment, so a simultaneous change of the environment on another
/// thread is a data race. A `Locale::Replacement` has no effect on these locales.
///
/// The nearest standard facility is `std::setlocale`, which refuses locales that are not generated on the machine.
///
/// Thread contract: thread-safe.
///
///     auto style = NumberFormatStyle().locale(FormatsLocale::numeric());
///     std::cout << style.format(0.5);  // 0,5 with LC_NUMERIC=de_DE.UTF-8
namespace Tessaly::inline v1::FormatsLocale {

/// The locale for dates and times, from `LC_ALL`, `LC_TIME` or `LANG`, in this order.
[[nodiscard]] TESSALY_EXPORT Locale time();
/// The locale for numbers and percentages, from `LC_ALL`, `LC_NUMERIC` or `LANG`, in this order.
[[nodiscard]] TESSALY_EXPORT Locale numeric();
/// The locale for amounts of money, from `LC_ALL`, `LC_MONETARY` or `LANG`, in this order.
[[nodiscard]] TESSALY_EXPORT Locale monetary();
/// The locale for the system of units, from `LC_ALL`, `LC_MEASUREMENT` or `LANG`, in this order.
[[nodiscard]] TESSALY_EXPORT Locale measurement();

}  // namespace Tessaly::inline v1::FormatsLocale
