// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

namespace Tessaly::inline v1::detail {

/// Serves the main queue until a job of the queue has set the flag. Main-isolated.
void serveMainQueueUntil(const std::atomic<std::uint32_t>& isDone) noexcept;

}  // namespace Tessaly::inline v1::detail
