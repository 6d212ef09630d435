// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Network/NetworkBackend.hpp"

#include <utility>
#include <vector>

#include "Tessaly/Platform/Network/NWPathMonitor.hpp"

namespace Tessaly::inline v1 {

NetworkBackend::~NetworkBackend() = default;

const std::shared_ptr<NetworkBackend>& NetworkBackend::current() { return detail::backendInUse<NetworkBackend>(); }

InstalledBackend<NetworkBackend>& NetworkBackend::installed() noexcept {
  static constinit InstalledBackend<NetworkBackend> installed{nullptr};
  return installed;
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
  // A host's executor may run a job at once, so no lock is held here.
  for (const auto& monitor : told) monitor->schedule();
}

}  // namespace Tessaly::inline v1
