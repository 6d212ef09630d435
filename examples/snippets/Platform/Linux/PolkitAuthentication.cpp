// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/PolkitAuthentication.hpp"

namespace Tessaly {

void snippet() {
  PolkitAuthentication polkit("org.example.player.authenticate");
  std::unique_ptr<LAContext> context = polkit.makeContext();
}

}  // namespace Tessaly
