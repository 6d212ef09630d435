// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedPower.hpp"

#include <cassert>
#include <memory>

namespace Tessaly {

void play();

void checkThatPlayingKeepsTheDisplayAwake() {
  const auto power = std::make_shared<ScriptedPower>();
  const PowerBackendInstallation installation(power);
  play();
  assert(power->held.size() == 1);
}

}  // namespace Tessaly
