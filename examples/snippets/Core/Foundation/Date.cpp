// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Date.hpp"

#include <iostream>

namespace Tessaly {

void showDate() {
  Date start = Date::now();
  Date deadline = start + 1.5;
  if (deadline > Date::now()) std::cout << deadline;  // 2023-01-02 15:04:06 +0000
}

void showWallClock() {
  struct FixedClock : WallClock {
    Date now() const noexcept override { return Date::since1970(0); }
  };
  FixedClock clock;
  WallClock::Replacement replacement(clock);
  // Date::now() is 1970-01-01 00:00:00 +0000 until `replacement` ends.
}

}  // namespace Tessaly
