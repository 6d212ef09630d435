// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"

#pragma push_macro("Status")  // A macro of Xlib.
#undef Status

namespace Tessaly::inline v1 {

/// Whether the machine is online, and whether the connection costs money. The service has functions for an immediate
/// read, for an observable read, for a wait until the machine is online, and for a stream.
///
/// The machine is offline if the setting `Default<bool>::Key::canConnectToHost` is false, or if the network path is
/// known to be unusable. Otherwise the machine is online, for example if the status of the path is unknown. Hosts and
/// testers use the setting, "can-connect-to-host", to force the offline behaviour. A missing setting counts as true,
/// and so does a stored value that does not convert to a Boolean. The expense does not depend on the setting.
///
/// The nearest facilities are `GNetworkMonitor` and `QNetworkInformation`. docs/reachability.md describes the sources.
///
///     if (ReachabilityService::isOnline() && !ReachabilityService::isExpensive()) fetchPreviews();
namespace ReachabilityService {

/// The element of `statuses()`.
struct Status {
  bool isOnline = false;
  bool isExpensive = false;

  friend constexpr bool operator==(const Status&, const Status&) noexcept = default;
};

/// Whether the machine is online now. False if the setting "can-connect-to-host" is false, or if the network path is
/// known to be unusable. Any thread may call this function. The first call reads the kernel's tables. Later calls make
/// no system call.
[[nodiscard]] TESSALY_EXPORT bool isOnline();

/// Whether the connection is metered now, so that its traffic may cost the user money. The setting
/// "can-connect-to-host" does not change the result. Any thread may call this function. A call takes as much time as a
/// call of `isOnline()`.
[[nodiscard]] TESSALY_EXPORT bool isExpensive();

/// The result of `isOnline()`, for observers. The main thread updates the value, so the main queue must be served.
/// Observation tracking records the read. Call this function on the main thread.
[[nodiscard]] TESSALY_EXPORT bool observableIsOnline();

/// The result of `isExpensive()`, for observers. The main thread updates the value, so the main queue must be served.
/// Observation tracking records the read. Call this function on the main thread.
[[nodiscard]] TESSALY_EXPORT bool observedIsExpensive();

/// Completes as soon as the machine is online. But a removal of the setting "can-connect-to-host", or a stored value
/// that does not convert to a Boolean, does not end the wait by itself.
///
/// Throws `CancellationError` if the calling task is cancelled before the wait begins. A cancellation during the wait
/// does not end the wait. After the cancellation, the wait ignores changes of the network path. It ends at the next
/// change of the setting after which the machine is online. If the task that writes the setting is itself cancelled,
/// the wait throws `CancellationError`.
///
/// The setup and the updates of the path use the main thread, so the main queue must be served.
[[nodiscard]] TESSALY_EXPORT Async<void> nextIsOnline();

/// A sequence of the current status, and of a status for each change of the network path or of the setting
/// "can-connect-to-host". The sequence ends when its consumer is cancelled or destroyed. Consecutive elements may be
/// equal. The buffer is unbounded. A removal of the setting gives no element, and neither does a stored value that does
/// not convert to a Boolean. Apart from these two kinds of changes, the newest element shows the state after the newest
/// change.
[[nodiscard]] TESSALY_EXPORT AsyncStream<Status> statuses();

}  // namespace ReachabilityService
}  // namespace Tessaly::inline v1

#pragma pop_macro("Status")
