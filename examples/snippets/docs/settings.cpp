// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/UserDefaults.hpp"

namespace Tessaly {

void storeTheVolume() {
  const std::shared_ptr<UserDefaults>& settings = UserDefaults::standard();
  settings->set(50, "volume");
  std::optional<PropertyList> volume = settings->value("volume");
}

}  // namespace Tessaly
