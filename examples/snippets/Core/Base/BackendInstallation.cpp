// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/BackendInstallation.hpp"

#include <memory>

#include "Tessaly/Platform/Testing/ScriptedPower.hpp"

namespace Tessaly {

void installAPowerManagement() {
  const auto power = std::make_shared<ScriptedPower>();
  const BackendInstallation<PowerBackend> installation(power);
}

}  // namespace Tessaly
