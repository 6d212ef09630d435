// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/LogConfiguration.hpp"

#include "Tessaly/Core/Logging/LogBackend.hpp"
#include "Tessaly/Core/Logging/SystemLogBackend.hpp"

namespace Tessaly::inline v1 {

void LogConfiguration::setStandardErrorOutput(LogSwitch state) noexcept {
  LogBackend::current().setStandardErrorOutput(state);
}

bool LogConfiguration::setStoreCapacity(std::size_t bytes) noexcept {
  return SystemLogBackend::setStoreCapacity(bytes);
}

JournalStatus LogConfiguration::journalStatus() noexcept { return LogBackend::current().journalStatus(); }

void LogConfiguration::flush(std::chrono::nanoseconds limit) noexcept { LogBackend::current().flush(limit); }

}  // namespace Tessaly::inline v1
