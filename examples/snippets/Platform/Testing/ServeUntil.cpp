// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ServeUntil.hpp"

#include <cassert>
#include <memory>

#include "Tessaly/Platform/Testing/ScriptedPower.hpp"
#include "Tessaly/SystemServices/DisplayWakefulness.hpp"

namespace Tessaly {

void checkThatPlayingKeepsTheDisplayAwakeSoon(const std::shared_ptr<ScriptedPower>& power) {
  const DisplayWakefulness awake("Playing");
  assert(serveUntil([&] { return power->snapshot().held.size() == 1; }));
}

}  // namespace Tessaly
