// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/UserDefaults.hpp"

#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"

namespace Tessaly {

void showSettings() {
  const std::shared_ptr<UserDefaults>& settings = UserDefaults::standard();
  settings->set(50, "volume");
  std::optional<PropertyList> volume = settings->value("volume");
  settings->setValuesForKeys({{"volume", 30}, {"theme", "dark"}, {"last-file", std::nullopt}});
}

void replaceSettings(void (*check)()) {
  const UserDefaultsInstallation installation(InMemoryUserDefaults::make());
  check();
}

}  // namespace Tessaly
