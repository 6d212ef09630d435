// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"

namespace Tessaly::inline v1 {

/// The definition of `OS_dispatch_queue::delay`.
struct detail::DelayedCall {
  TESSALY_EXPORT static void start(double seconds, OS_dispatch_queue::Function block, Clock& clock);
};

}  // namespace Tessaly::inline v1
