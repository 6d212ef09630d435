// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

namespace detail {
/// The kernel's identifier of this thread, or 0 before the identifier's first use. Reset in the child of a fork.
TESSALY_EXPORT extern __thread std::uint32_t cachedThreadIdentifier [[gnu::tls_model("initial-exec")]];
TESSALY_EXPORT std::uint32_t fetchThreadIdentifier() noexcept;
}  // namespace detail

/// The kernel's identifier of the calling thread: positive, below 2^30. After the first call on a thread, each later
/// call on this thread costs one load.
///
/// Thread contract: thread-safe.
[[nodiscard]] inline std::uint32_t currentThreadIdentifier() noexcept {
  const std::uint32_t cached = detail::cachedThreadIdentifier;
  return cached != 0 ? cached : detail::fetchThreadIdentifier();
}

}  // namespace Tessaly::inline v1
