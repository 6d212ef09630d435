// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/FoundationExtensions/FormatStyle+Extensions.hpp"

namespace Tessaly::inline v1 {

Date::FormatStyle detail::CompactDateTime::make() {
  using Style = Date::FormatStyle;
  constexpr OperatingSystemVersion firstWithoutDay{.major = 15};
  const Style time = Style().hour(Style::Field::twoDigits).minute(Style::Field::twoDigits);
  // The limit is not a version of this system. A host gets the style with the day only if it overrides the version with
  // an older one.
  const auto& version = ProcessInfo::processInfo().overriddenOperatingSystemVersion();
  if (!version || *version >= firstWithoutDay) return time.year(Style::Field::omitted);
  return time.day(Style::Field::twoDigits).month(Style::Month::twoDigits);
}

}  // namespace Tessaly::inline v1
