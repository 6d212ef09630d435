// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Logging/LogConfiguration.hpp"

#include "Tessaly/Platform/Linux/SystemLogBackend.hpp"
#include "Tessaly/Platform/Logging/LogBackend.hpp"

namespace Tessaly::inline v1 {

void LogConfiguration::setStandardErrorOutput(LogSwitch state) noexcept {
  SystemLogBackend::shared().setStandardErrorOutput(state);
}

bool LogConfiguration::setStoreCapacity(std::size_t bytes) noexcept {
  return SystemLogBackend::setStoreCapacity(bytes);
}

JournalStatus LogConfiguration::journalStatus() noexcept { return SystemLogBackend::shared().journalStatus(); }

void LogConfiguration::flush(std::chrono::nanoseconds limit) noexcept { LogBackend::current().flush(limit); }

}  // namespace Tessaly::inline v1
