// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Power/PowerBackend.hpp"

namespace Tessaly {

void play();
void showBanner(const char* text);

void playAwake() {
  std::uint32_t identifier = 0;
  PowerBackend& power = PowerBackend::current();
  if (power.createAssertion(PowerBackend::noDisplaySleep, PowerBackend::levelOn, "Playing", identifier) == 0) {
    play();
    power.releaseAssertion(identifier);
  }
}

void warn() {
  if (PowerBackend::current().status().service == PowerService::none) showBanner("The display may go dark.");
}

}  // namespace Tessaly
