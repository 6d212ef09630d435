// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include <string>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The shortest text that parses as the same number, always with a fraction or an exponent ("12.0", "1e-05"). There is
/// no exponent from 0.0001 to 2^53 (2^24 for a `float`), because the type represents all whole numbers in that range.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string numberDescription(double value);
[[nodiscard]] TESSALY_EXPORT std::string numberDescription(float value);

}  // namespace Tessaly::inline v1
