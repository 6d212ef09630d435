// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/BusPower.hpp"

namespace Tessaly {

void snippet() {
  BusPower power;
  std::uint32_t identifier = 0;
  power.createAssertion(PowerBackend::noDisplaySleep, PowerBackend::levelOn, "Playing", identifier);
}

}  // namespace Tessaly
