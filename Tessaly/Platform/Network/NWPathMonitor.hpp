// SPDX-License-Identifier: MIT
// Component: Tessaly::Network
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#include "Tessaly/Platform/Network/NWPath.hpp"

namespace Tessaly::inline v1 {

class NetworkBackend;

/// A monitor that notifies a handler of changes of the network path. A path says whether the machine can reach other
/// machines, and whether the traffic is expensive. The monitor considers all network interfaces.
///
/// `currentPath()` has the kernel's status at once. Its `isExpensive()` is false until a service has answered:
/// NetworkManager, or in a sandbox the desktop's portal. Updates begin after `start`. The first update has the path at
/// the time of `start`. A monitor delivers its updates in order and one at a time, even on a concurrent queue. On Linux
/// a change of the status or of the expense causes an update. A change of `statusSource()` or `expenseSource()` alone
/// does not.
///
/// The nearest facilities are `GNetworkMonitor` and `QNetworkInformation`. Each needs the event loop of its toolkit.
/// `GNetworkMonitor` also treats a route as usable while its cable is disconnected.
///
/// Thread contract: thread-safe. Reading the path takes a few nanoseconds and no system call.
///
///     auto monitor = NWPathMonitor::make();
///     monitor->setPathUpdateHandler([](const NWPath& path) { showBanner(path.status()); });
///     monitor->start(OS_dispatch_queue::main());
class TESSALY_EXPORT NWPathMonitor final : public std::enable_shared_from_this<NWPathMonitor> {
  struct Private {};

 public:
  using PathUpdateHandler = std::function<void(const NWPath& path)>;

  /// Makes a monitor of all interfaces. The monitor reports nothing until it is started. The call processes the
  /// kernel's pending messages, so that `currentPath()` is up to date. The first monitor of a process reads the
  /// kernel's tables of links, addresses and routes.
  [[nodiscard]] static std::shared_ptr<NWPathMonitor> make();
  NWPathMonitor(Private, std::shared_ptr<NetworkBackend> backend);
  /// Cancels the monitor. A running call of the handler keeps the monitor alive until the call returns.
  ~NWPathMonitor();
  NWPathMonitor(const NWPathMonitor&) = delete;
  NWPathMonitor& operator=(const NWPathMonitor&) = delete;

  /// Sets the handler of later updates. While no handler is set, or the handler is an empty function, the monitor
  /// discards its updates. A cancelled monitor ignores the handler. An exception of the handler stops the process. The
  /// monitor keeps the handler until another one replaces it, or until the monitor is cancelled or destroyed.
  void setPathUpdateHandler(PathUpdateHandler handler);
  /// Begins to deliver updates on the queue. Does nothing if the monitor was started or cancelled before.
  void start(OS_dispatch_queue queue);
  /// The latest known path, even before `start` and after `cancel()`.
  [[nodiscard]] NWPath currentPath() const noexcept;
  /// Ends the updates. Does not wait for a call of the handler that another thread is making or is about to make. So
  /// such a call may still begin after `cancel` has returned. If the monitor's queue is serial and `cancel` is called
  /// on this queue, no call begins afterwards. The handler may call `cancel`. Later calls of `cancel` and `start` do
  /// nothing.
  void cancel() noexcept;

 private:
  friend NetworkBackend;

  /// For the backend: appends a path to the paths that will be delivered.
  void append(NWPath path);
  /// For the backend: schedules the delivery. The backend must not hold its lock.
  void schedule();
  /// Calls the handler with the next path. Returns false if no path is pending, or if another thread is delivering.
  bool deliverNext() noexcept;

  const std::shared_ptr<NetworkBackend> backend_;
  UnfairLock lock_;
  std::shared_ptr<PathUpdateHandler> handler_ TESSALY_GUARDED_BY(lock_);
  std::optional<OS_dispatch_queue> queue_ TESSALY_GUARDED_BY(lock_);
  std::deque<NWPath> pending_ TESSALY_GUARDED_BY(lock_);
  bool isCancelled_ TESSALY_GUARDED_BY(lock_) = false;
  /// The thread that is delivering, or 0.
  std::uint32_t deliveringThread_ TESSALY_GUARDED_BY(lock_) = 0;
};

}  // namespace Tessaly::inline v1
