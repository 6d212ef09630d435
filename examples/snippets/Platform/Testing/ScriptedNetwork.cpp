// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedNetwork.hpp"

#include <memory>

namespace Tessaly {

void comeOnline() {
  const auto network = std::make_shared<ScriptedNetwork>(NWPath::Status::unsatisfied);
  const NetworkBackendInstallation installation(network);
  network->setPath(NWPath({.status = NWPath::Status::satisfied, .isExpensive = true}));
}

}  // namespace Tessaly
