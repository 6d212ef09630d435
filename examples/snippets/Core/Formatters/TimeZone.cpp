// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/TimeZone.hpp"

#include <iostream>

namespace Tessaly {

void showTimeZone() {
  std::optional<TimeZone> paris = TimeZone::from("Europe/Paris");
  if (paris) std::cout << *paris;  // Europe/Paris
}

void showReplacement() {
  TimeZone zone = TimeZone::gmt();
  TimeZone::Replacement replacement(zone);
  // TimeZone::current() is "GMT" until `replacement` ends.
}

}  // namespace Tessaly
