// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/FoundationExtensions/FormatStyle+Extensions.hpp"

namespace Tessaly::inline v1 {

Date::FormatStyle Date::FormatStyle::compactDateTime() {
  constexpr OperatingSystemVersion firstWithoutDay{.major = 15};
  const FormatStyle time = FormatStyle().hour(Field::twoDigits).minute(Field::twoDigits);
  // Versions count for another system than this one: only who says one asks for what was before.
  const auto& version = ProcessInfo::processInfo().overriddenOperatingSystemVersion();
  if (!version || *version >= firstWithoutDay) return time.year(Field::omitted);
  return time.day(Field::twoDigits).month(Month::twoDigits);
}

}  // namespace Tessaly::inline v1
