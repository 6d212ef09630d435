// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/LogBackend.hpp"

#include "Tessaly/Core/Logging/SystemLogBackend.hpp"

namespace Tessaly::inline v1 {

LogBackend::~LogBackend() = default;

void LogBackend::flush(std::chrono::nanoseconds) noexcept {}

const ProcessLogStore* LogBackend::store() const noexcept { return nullptr; }

void LogBackend::setStandardErrorOutput(LogSwitch) noexcept {}

JournalStatus LogBackend::journalStatus() const noexcept { return {}; }

LogBackend& LogBackend::current() noexcept { return detail::backendInUse<LogBackend>(); }

LogBackend& LogBackend::system() noexcept { return SystemLogBackend::shared(); }

InstalledBackend<LogBackend>& LogBackend::installed() noexcept {
  static constinit InstalledBackend<LogBackend> installed{nullptr};
  return installed;
}

}  // namespace Tessaly::inline v1
