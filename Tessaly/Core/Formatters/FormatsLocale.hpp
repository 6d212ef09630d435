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
/// `Locale::current()` is the locale of the language (`LC_MESSAGES`). A style uses that locale for its texts unless the
/// style names another locale. Every call reads the environment, so a simultaneous change of the environment on another
/// thread is a data race. A `Locale::Replacement` has no effect on these locales.
///
/// The nearest standard facility is `std::setlocale`, which refuses locales that are not generated on the machine.
///
/// Thread contract: thread-safe.
///
///     auto style = NumberFormatStyle().locale(FormatsLocale::numeric());
///     std::cout << style.format(0.5);  // 0,5 with LC_NUMERIC=de_DE.UTF-8
namespace Tessaly::inline v1::FormatsLocale {

/// `LC_TIME`: dates and times.
[[nodiscard]] TESSALY_EXPORT Locale time();
/// `LC_NUMERIC`: numbers and percentages.
[[nodiscard]] TESSALY_EXPORT Locale numeric();
/// `LC_MONETARY`: amounts of money.
[[nodiscard]] TESSALY_EXPORT Locale monetary();
/// `LC_MEASUREMENT`: the system of units.
[[nodiscard]] TESSALY_EXPORT Locale measurement();

}  // namespace Tessaly::inline v1::FormatsLocale
