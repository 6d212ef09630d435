// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Base/BackendInstallation.hpp"

#include <memory>

#include "Tessaly/Platform/Fakes/ScriptedPower.hpp"

namespace Tessaly {

void installAPowerManagement() {
  const auto power = std::make_shared<ScriptedPower>();
  const BackendInstallation<PowerBackend> installation(power);
}

}  // namespace Tessaly
