// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Network/NetworkBackend.hpp"

#include <deque>
#include <utility>
#include <vector>

#include "Tessaly/Platform/Linux/LinuxNetworkBackend.hpp"
#include "Tessaly/Platform/Network/NWPathMonitor.hpp"

namespace Tessaly::inline v1 {
namespace {

constinit std::atomic<const std::shared_ptr<NetworkBackend>*> installed{nullptr};

/// Keeps a backend that was installed: somebody may be using it at any time.
const std::shared_ptr<NetworkBackend>& keptUntilExit(std::shared_ptr<NetworkBackend> backend) {
  static auto& lock = *new UnfairLock;
  static auto& backends = *new std::deque<std::shared_ptr<NetworkBackend>>;
  const UnfairLock::Guard guard(lock);
  return backends.emplace_back(std::move(backend));
}

const std::shared_ptr<NetworkBackend>& systemBackend() {
  static const auto* const backend = new std::shared_ptr<NetworkBackend>(LinuxNetworkBackend::make());
  return *backend;
}

}  // namespace

NetworkBackend::~NetworkBackend() = default;

const std::shared_ptr<NetworkBackend>& NetworkBackend::current() {
  const auto* const backend = installed.load(std::memory_order_acquire);
  return backend != nullptr ? *backend : systemBackend();
}

void NetworkBackend::add(const std::shared_ptr<NWPathMonitor>& monitor) {
  {
    const UnfairLock::Guard guard(lock_);
    monitors_.emplace(monitor.get(), monitor);
    monitor->append(currentPath());
  }
  monitor->schedule();
}

void NetworkBackend::remove(const NWPathMonitor& monitor) noexcept {
  const UnfairLock::Guard guard(lock_);
  monitors_.erase(&monitor);
}

void NetworkBackend::update(Telling telling, const std::function<NWPath(const NWPath& path)>& change) {
  std::vector<std::shared_ptr<NWPathMonitor>> told;
  {
    const UnfairLock::Guard guard(lock_);
    const NWPath previous = currentPath();
    const NWPath path = change(previous);
    path_.store(path, std::memory_order_release);
    if (telling == Telling::ofChanges && path.status() == previous.status() &&
        path.isExpensive() == previous.isExpensive()) {
      return;
    }
    told.reserve(monitors_.size());
    for (const auto& [address, reference] : monitors_) {
      if (auto monitor = reference.lock(); monitor != nullptr) told.push_back(std::move(monitor));
    }
    for (const auto& monitor : told) monitor->append(path);
  }
  // An executor of a host's may run what it is given at once.
  for (const auto& monitor : told) monitor->schedule();
}

NetworkBackendInstallation::NetworkBackendInstallation(std::shared_ptr<NetworkBackend> backend)
    : previous_(installed.exchange(&keptUntilExit(std::move(backend)), std::memory_order_acq_rel)) {}

NetworkBackendInstallation::~NetworkBackendInstallation() { installed.store(previous_, std::memory_order_release); }

}  // namespace Tessaly::inline v1
