// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <cstdint>
#include <exception>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// The reason why a stream ended, for its termination handler.
///
/// Thread contract: thread-compatible.
///
///     continuation.setOnTermination([sensor](const StreamTermination& termination) {
///       if (termination.kind == StreamTermination::Kind::cancelled) sensor->stop();
///     });
struct StreamTermination {
  enum class Kind : std::uint8_t {
    finished,   ///< The producer finished the stream.
    cancelled,  ///< A consumer's task was cancelled before or during `next()`, or the last consumer was destroyed.
  };

  Kind kind;
  /// The error with which the producer finished the stream, or null.
  std::exception_ptr error = nullptr;
};

}  // namespace Tessaly::inline v1
