// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

// Defines what FormatStyle.hpp declares for short times: `Date::FormatStyle::compactDateTime`.

#include "Tessaly/Core/Formatters/FormatStyle.hpp"  // IWYU pragma: export
