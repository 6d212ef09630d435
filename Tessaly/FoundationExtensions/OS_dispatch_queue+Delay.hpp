// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

// Defines what OS_dispatch_queue.hpp declares for delayed calls: `OS_dispatch_queue::delay`.

#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"  // IWYU pragma: export
