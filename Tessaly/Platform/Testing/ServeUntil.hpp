// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <functional>

#include "Tessaly/Core/Base/Durations.hpp"
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// Waits for a state that a background thread brings about, such as an assertion of `ScriptedPower`. Returns true as
/// soon as the condition holds, and false if the limit has passed before. A test that passes waits only as long as the
/// work takes.
///
/// On the main thread the function runs the jobs of the main queue meanwhile, as `MainQueue::drain()` does. It calls
/// the condition on the caller's thread, at least once and then about every 0.2 ms. The condition reads what other
/// threads change in a safe way, such as by `snapshot()`. The nearest facilities are `syncWait`, for the end of a task,
/// and `ManualClock::waitForTimers`.
///
/// Thread contract: thread-safe. Throws the exceptions of the condition.
///
///     const DisplayWakefulness awake("Playing");
///     assert(serveUntil([&] { return power->snapshot().held.size() == 1; }));
[[nodiscard]] TESSALY_EXPORT bool serveUntil(const std::function<bool()>& condition,
                                             std::chrono::nanoseconds limit = std::chrono::seconds(10));

}  // namespace Tessaly::inline v1
