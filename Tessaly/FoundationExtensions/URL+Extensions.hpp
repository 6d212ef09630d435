// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

// Defines what URL.hpp declares for the application's cloud container: `URL::ubiquityContainer`.

#include "Tessaly/Core/Foundation/URL.hpp"  // IWYU pragma: export
