// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <cstdint>
#include <exception>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// Why a stream ended, as its termination handler is told.
///
/// Thread contract: thread-compatible.
///
///     continuation.setOnTermination([sensor](const StreamTermination& termination) {
///       if (termination.kind == StreamTermination::Kind::cancelled) sensor->stop();
///     });
struct StreamTermination {
  enum class Kind : std::uint8_t {
    finished,   ///< By the producer.
    cancelled,  ///< A consumer's task was cancelled, or nobody is left to consume.
  };

  Kind kind;
  /// What a failing stream was finished with; null otherwise.
  std::exception_ptr error = nullptr;
};

}  // namespace Tessaly::inline v1
