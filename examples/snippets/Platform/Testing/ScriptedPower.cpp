// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedPower.hpp"

#include <cassert>
#include <memory>

namespace Tessaly {

void play();

void checkThatPlayingKeepsTheDisplayAwake() {
  const auto power = std::make_shared<ScriptedPower>();
  const BackendInstallation<PowerBackend> installation(power);
  play();
  assert(power->held.size() == 1);
}

}  // namespace Tessaly
