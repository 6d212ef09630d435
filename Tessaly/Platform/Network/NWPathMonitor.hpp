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

/// Follows the network path over all interfaces.
///
/// `currentPath()` is true from the start; updates come once it is started, the first with the path of that moment.
/// Updates of one monitor come in order and one at a time, on a concurrent queue too. On Linux an update is a change of
/// the status or the expense; that only somebody else answers for them makes none.
///
/// The nearest facilities elsewhere are `GNetworkMonitor` and `QNetworkInformation`; the first counts a route whose
/// cable is out, and both need the toolkit's loop.
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

  /// A monitor of all interfaces that reports nothing until it is started. Takes in what the kernel has told by now;
  /// the first in a process reads the kernel's tables.
  [[nodiscard]] static std::shared_ptr<NWPathMonitor> make();
  NWPathMonitor(Private, std::shared_ptr<NetworkBackend> backend);
  /// Cancels it.
  ~NWPathMonitor();
  NWPathMonitor(const NWPathMonitor&) = delete;
  NWPathMonitor& operator=(const NWPathMonitor&) = delete;

  /// Sets what receives each path from now on; an empty function is none, and then updates are dropped. A throw out of
  /// it stops the process. The monitor keeps it until it is cancelled or gone.
  void setPathUpdateHandler(PathUpdateHandler handler);
  /// Begins to deliver on the queue. The second time, and after `cancel()`, it does nothing.
  void start(OS_dispatch_queue queue);
  /// The latest known path, also before the start and after the end.
  [[nodiscard]] NWPath currentPath() const noexcept;
  /// Stops updates for good. No call of the handler begins after this has returned; one under way on another thread is
  /// not waited for. May be called from inside the handler, and more than once.
  void cancel() noexcept;

 private:
  friend NetworkBackend;

  /// For the backend: appends to the paths that are to be delivered.
  void append(NWPath path);
  /// For the backend, without its lock: has them delivered.
  void schedule();
  void deliver() noexcept;

  const std::shared_ptr<NetworkBackend> backend_;
  UnfairLock lock_;
  std::shared_ptr<PathUpdateHandler> handler_ TESSALY_GUARDED_BY(lock_);
  std::optional<OS_dispatch_queue> queue_ TESSALY_GUARDED_BY(lock_);
  std::deque<NWPath> pending_ TESSALY_GUARDED_BY(lock_);
  bool isCancelled_ TESSALY_GUARDED_BY(lock_) = false;
  /// The thread that is delivering; 0 when none is.
  std::uint32_t deliveringThread_ TESSALY_GUARDED_BY(lock_) = 0;
};

}  // namespace Tessaly::inline v1
