// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/LogBackend.hpp"

#include <atomic>
#include <utility>
#include <vector>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Linux/SystemLogBackend.hpp"

namespace Tessaly::inline v1 {
namespace {

constinit std::atomic<LogBackend*> installed{nullptr};

void keepUntilExit(std::shared_ptr<LogBackend> backend) {
  static auto& lock = *new UnfairLock;
  static auto& backends = *new std::vector<std::shared_ptr<LogBackend>>;
  const UnfairLock::Guard guard(lock);
  backends.push_back(std::move(backend));
}

}  // namespace

LogBackend::~LogBackend() = default;

void LogBackend::flush(std::chrono::nanoseconds) noexcept {}

const ProcessLogStore* LogBackend::store() const noexcept { return nullptr; }

LogBackend& LogBackend::current() noexcept {
  if (auto* backend = installed.load(std::memory_order_acquire)) return *backend;
  return SystemLogBackend::shared();
}

LogBackendInstallation::LogBackendInstallation(std::shared_ptr<LogBackend> backend)
    : previous_(installed.exchange(backend.get(), std::memory_order_acq_rel)) {
  keepUntilExit(std::move(backend));
}

LogBackendInstallation::~LogBackendInstallation() { installed.store(previous_, std::memory_order_release); }

}  // namespace Tessaly::inline v1
