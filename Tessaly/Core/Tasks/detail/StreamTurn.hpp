// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"

// If a stream is never empty, its consumer never waits, and would block the other work of its executor. So each thread
// counts the elements that its consumers take without a wait, and divides these elements into turns. At the end of a
// turn, the consumer that took the turn's last element lets other work run.

namespace Tessaly::inline v1::detail {

/// The number of elements that are left until this thread checks whether its turn is over. Only elements that consumers
/// take without a wait count.
TESSALY_EXPORT extern __thread std::uint32_t elementsLeft [[gnu::tls_model("initial-exec")]];

/// Resets `elementsLeft` to 256. If the thread's previous turn ended at least 1 ms ago, ends the current turn and
/// returns true. Otherwise the current turn goes on.
[[nodiscard]] TESSALY_EXPORT bool endTurnIfLong() noexcept;

/// Counts an element that was taken without a wait. Returns true if the turn ends with this element. A turn has at
/// least 256 elements, and ends at least 1 ms after the end of the thread's previous turn.
inline bool isTurnOver() noexcept {
  if (--elementsLeft != 0) [[likely]]
    return false;
  return endTurnIfLong();
}

}  // namespace Tessaly::inline v1::detail
