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

/// The source from which path monitors get their paths. The system's backend is made at its first use and never
/// destroyed.
///
/// Thread contract: thread-safe. Several threads may call `refresh` at once, so an implementation must allow this.
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

  /// The latest known path. Costs one load, without a lock and without a system call.
  [[nodiscard]] NWPath currentPath() const noexcept { return path_.load(std::memory_order_acquire); }
  /// Processes the system's pending messages, so that `currentPath()` is up to date. Called when a monitor is made.
  virtual void refresh() = 0;

  /// For `NWPathMonitor::start`: notifies the monitor of the current path and of the later paths that `update` reports,
  /// until the monitor is removed or destroyed. The monitor must already have its queue.
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
  /// The occasions on which `update` notifies the monitors.
  enum class Telling : std::uint8_t {
    /// Monitors are notified even if the path equals the previous one.
    always,
    /// Monitors are notified only if `status()` or `isExpensive()` of the path changed.
    ofChanges,
  };
  /// Computes the new path with `change`, which receives the present path. Then notifies the monitors. With
  /// `Telling::ofChanges`, notifies them only if `status()` or `isExpensive()` of the path changed. `change` is called
  /// under the backend's lock, so it must not call the backend or a monitor.
  void update(Telling telling, const std::function<NWPath(const NWPath& path)>& change);

 private:
  std::atomic<NWPath> path_{NWPath()};
  UnfairLock lock_;
  std::unordered_map<const NWPathMonitor*, std::weak_ptr<NWPathMonitor>> monitors_ TESSALY_GUARDED_BY(lock_);
};

/// Replaces the backend for a scope. Monitors that any thread makes before the scope ends get their paths from the new
/// backend. Earlier monitors keep the former backend.
using NetworkBackendInstallation = BackendInstallation<NetworkBackend>;

}  // namespace Tessaly::inline v1
