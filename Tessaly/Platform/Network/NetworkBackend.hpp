// SPDX-License-Identifier: MIT
// Component: Tessaly::Network
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>

#include "Tessaly/Core/Base/BackendInstallation.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Network/NWPath.hpp"

namespace Tessaly::inline v1 {

class NWPathMonitor;

/// Where path monitors get their paths from. The system's is made with the first monitor and never goes.
///
/// Thread contract: thread-safe; an implementation's `refresh` may be called by several threads at once.
///
///     class AlwaysOnline final : public NetworkBackend {
///      public:
///       AlwaysOnline() {
///         update(Telling::always, [](const NWPath&) { return NWPath({.status = NWPath::Status::satisfied}); });
///       }
///       void refresh() override {}
///     };
class TESSALY_EXPORT NetworkBackend {
 public:
  NetworkBackend(const NetworkBackend&) = delete;
  NetworkBackend& operator=(const NetworkBackend&) = delete;
  virtual ~NetworkBackend();

  /// The latest known path. One load, no lock, no system call.
  [[nodiscard]] NWPath currentPath() const noexcept { return path_.load(std::memory_order_acquire); }
  /// Takes in what the system has told by now, so that `currentPath()` is true. Called when a monitor is made.
  virtual void refresh() = 0;

  /// Has the monitor hear of the current path and of each that is published from now on, until it is removed or gone.
  void add(const std::shared_ptr<NWPathMonitor>& monitor);
  void remove(const NWPathMonitor& monitor) noexcept;

  /// The backend in use.
  [[nodiscard]] static const std::shared_ptr<NetworkBackend>& current();
  /// The system's backend, which is made at the first call and never destroyed.
  [[nodiscard]] static const std::shared_ptr<NetworkBackend>& system();
  /// The place that `BackendInstallation` writes to.
  [[nodiscard]] static InstalledBackend<NetworkBackend>& installed() noexcept;

 protected:
  NetworkBackend() = default;
  enum class Telling : std::uint8_t {
    /// Monitors hear of the path also if it equals the one before.
    always,
    /// Monitors hear of it if the status or the expense is another.
    ofChanges,
  };
  /// Makes the current path what `change` makes of it, and hands it to the monitors. `change` is called under the lock
  /// that puts two calls in an order that all monitors agree on: it must only compute.
  void update(Telling telling, const std::function<NWPath(const NWPath& path)>& change);

 private:
  std::atomic<NWPath> path_{NWPath()};
  UnfairLock lock_;
  std::unordered_map<const NWPathMonitor*, std::weak_ptr<NWPathMonitor>> monitors_ TESSALY_GUARDED_BY(lock_);
};

/// Replaces the backend for a scope: monitors that are made in the scope get their paths from the new one.
using NetworkBackendInstallation = BackendInstallation<NetworkBackend>;

}  // namespace Tessaly::inline v1
