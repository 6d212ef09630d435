// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"

namespace Tessaly {

void playAnotherProcess() {
  const auto settings = InMemoryUserDefaults::make();
  const UserDefaultsInstallation installation(settings);
  settings->setFromElsewhere(PropertyList(75), "volume");
}

}  // namespace Tessaly
