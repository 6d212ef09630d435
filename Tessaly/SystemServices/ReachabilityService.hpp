// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"

#pragma push_macro("Status")  // Of Xlib.
#undef Status

namespace Tessaly::inline v1 {

/// Whether the machine is online, and whether the connection costs money: at this instant, observably, once it is so,
/// and as a stream.
///
/// Online means: the setting `Default<bool>::Key::canConnectToHost` is not false, and the system's network path is not
/// known to lead nowhere. The setting, "can-connect-to-host", is for hosts and testers to force the offline behaviour;
/// a missing entry, or one that is no Boolean, counts as true. A status of the path that this version does not know
/// counts as online. Whether the connection is expensive does not depend on the setting.
///
/// The nearest facilities elsewhere are `GNetworkMonitor` and `QNetworkInformation`. See docs/reachability.md for what
/// the system is asked.
///
///     if (ReachabilityService::isOnline() && !ReachabilityService::isExpensive()) fetchPreviews();
namespace ReachabilityService {

/// What `statuses()` tells of.
struct Status {
  bool isOnline = false;
  bool isExpensive = false;

  friend constexpr bool operator==(const Status&, const Status&) noexcept = default;
};

/// Whether the machine is online now. From any thread; no system call, but at the first time, which reads the kernel's
/// tables.
[[nodiscard]] TESSALY_EXPORT bool isOnline();

/// Whether the connection is expensive now; not subject to the setting. From any thread, at the cost of `isOnline()`.
[[nodiscard]] TESSALY_EXPORT bool isExpensive();

/// The same as `isOnline()`, kept up to date on the main queue and recorded by observation tracking. To be read on the
/// main thread; the main queue must be served.
[[nodiscard]] TESSALY_EXPORT bool observableIsOnline();

/// The same as `isExpensive()`, kept up to date on the main queue and recorded by observation tracking. To be read on
/// the main thread.
[[nodiscard]] TESSALY_EXPORT bool observedIsExpensive();

/// Completes as soon as the machine is online.
///
/// Throws `CancellationError` if its task is cancelled before it begins to wait. Cancelling it while it waits stops its
/// following the path, but does not end the wait: that ends when the setting next becomes another and the machine is
/// online then. If the setting is written inside a cancelled task, it throws `CancellationError`.
///
/// Sets up, and hears of the path, on the main thread: the main queue must be served.
[[nodiscard]] TESSALY_EXPORT Async<void> nextIsOnline();

/// The status now, and at each change of the path and of the setting, equal ones in a row included, until the consumer
/// stops. Any number are buffered. The removal of the setting makes no element. The last element is never older than
/// the last change.
[[nodiscard]] TESSALY_EXPORT AsyncStream<Status> statuses();

}  // namespace ReachabilityService
}  // namespace Tessaly::inline v1

#pragma pop_macro("Status")
