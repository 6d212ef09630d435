// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/JournalStatus.hpp"

#include <cstring>
#include <iostream>

#include "Tessaly/Core/Logging/LogConfiguration.hpp"

namespace Tessaly {

void tellRefusal() {
  const auto status = LogConfiguration::journalStatus();
  if (status.state == JournalState::refused) std::cerr << std::strerror(status.error) << '\n';
}

}  // namespace Tessaly
