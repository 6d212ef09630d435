// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"

#pragma push_macro("Status")  // A macro of Xlib.
#undef Status

namespace Tessaly::inline v1 {

/// Whether the machine is online, and whether the connection costs money. The answers come as instant reads, as
/// observable reads, as a wait until online, and as a stream.
///
/// The machine is online if the setting `Default<bool>::Key::canConnectToHost` is not false and the status of the
/// network path is not known to be unusable. Hosts and testers use the setting, "can-connect-to-host", to force the
/// offline behaviour. A missing setting counts as true, and so does a stored value that does not convert to a Boolean.
/// An unknown status of the path counts as online. The expense does not depend on the setting.
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

/// Whether the machine is online now. Any thread may call it. The first call reads the kernel's tables. Later calls
/// make no system call.
[[nodiscard]] TESSALY_EXPORT bool isOnline();

/// Whether the connection is expensive now, independent of the setting. Any thread may call it. The cost is that of
/// `isOnline()`.
[[nodiscard]] TESSALY_EXPORT bool isExpensive();

/// `isOnline()` as an observable read. The main queue updates it, and observation tracking records it. Read it on the
/// main thread. The main queue must be served.
[[nodiscard]] TESSALY_EXPORT bool observableIsOnline();

/// `isExpensive()` as an observable read. The main queue updates it, and observation tracking records it. Read it on
/// the main thread. The main queue must be served.
[[nodiscard]] TESSALY_EXPORT bool observedIsExpensive();

/// Completes as soon as the machine is online.
///
/// Throws `CancellationError` if the calling task is cancelled before the wait begins. A cancellation during the wait
/// does not end the wait. From then on only changes of the setting count: the wait ends at the next change after which
/// the machine is online. If a cancelled task writes the setting, the wait throws `CancellationError`.
///
/// The setup and the updates of the path use the main thread, so the main queue must be served.
[[nodiscard]] TESSALY_EXPORT Async<void> nextIsOnline();

/// A sequence of the current status, and of a status for each change of the path or of the setting, until the consumer
/// ends. Consecutive elements may be equal. The buffer is unbounded. The removal of the setting gives no element. The
/// last element is never older than the last change.
[[nodiscard]] TESSALY_EXPORT AsyncStream<Status> statuses();

}  // namespace ReachabilityService
}  // namespace Tessaly::inline v1

#pragma pop_macro("Status")
