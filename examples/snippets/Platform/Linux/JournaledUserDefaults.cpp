// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"

namespace Tessaly {

void openAFolder() {
  const auto settings = JournaledUserDefaults::open({.folder = "/home/me/.config/org.example.player"});
  settings->set(50, "volume");
}

}  // namespace Tessaly
