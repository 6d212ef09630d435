// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

TESSALY_EXPORT extern std::atomic<bool> isForkedChildOfRuntime;
[[noreturn]] TESSALY_EXPORT void stopForkedChild() noexcept;
/// Makes `isForkedChild()` return true in the child of every later fork. `startLibraryThread` calls this function
/// before it starts a thread.
TESSALY_EXPORT void noteRuntimeStarted() noexcept;

/// Whether this process is the child of a fork that happened after the parent's runtime had started threads.
/// Destructors, cancellations and the log call this function, because they must work in such a child or do nothing
/// there. One relaxed load.
///
/// Thread contract: thread-safe.
[[nodiscard]] inline bool isForkedChild() noexcept { return isForkedChildOfRuntime.load(std::memory_order_relaxed); }

/// Stops the process if it is the child of a fork that happened after the parent's runtime had started threads. Those
/// threads do not exist in the child, and waiting for them would hang. A fork before the first use of the runtime, or a
/// fork that `exec` follows, is allowed. One relaxed load.
///
/// Thread contract: thread-safe.
inline void stopIfForkedChild() noexcept {
  if (isForkedChild()) [[unlikely]]
    stopForkedChild();
}

}  // namespace Tessaly::inline v1::detail
