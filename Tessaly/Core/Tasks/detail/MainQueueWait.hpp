// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

namespace Tessaly::inline v1::detail {

/// Runs the jobs of the main queue until `isDone` is not 0. A job of the main queue must set `isDone`: a write by
/// another thread does not wake the main thread. Main-isolated.
void serveMainQueueUntil(const std::atomic<std::uint32_t>& isDone) noexcept;

}  // namespace Tessaly::inline v1::detail
