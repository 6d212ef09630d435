// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/UserDefaultsStatus.hpp"

#include "Tessaly/Platform/Settings/UserDefaults.hpp"

namespace Tessaly {

void showBanner(const char* text);

void tellOfAFullDisk(const std::shared_ptr<UserDefaults>& store) {
  if (store->status().problem == UserDefaultsProblem::diskFull) showBanner("Settings cannot be saved.");
}

}  // namespace Tessaly
