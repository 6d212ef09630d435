// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

// Defines what OSLog.hpp declares for an application's own logs: `OSLog::pointOfInterest`.

#include "Tessaly/Core/Logging/OSLog.hpp"         // IWYU pragma: export
#include "Tessaly/Core/Logging/OSSignposter.hpp"  // IWYU pragma: export
