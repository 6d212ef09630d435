// SPDX-License-Identifier: MIT
#pragma once

// Defines what OSLog.hpp declares for an application's own logs: `OSLog::pointOfInterest`.

#include "Tessaly/Platform/Logging/OSLog.hpp"         // IWYU pragma: export
#include "Tessaly/Platform/Logging/OSSignposter.hpp"  // IWYU pragma: export
