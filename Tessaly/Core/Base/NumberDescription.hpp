// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include <string>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The description of a number: the fewest digits that parse as the same number, with a fraction or an exponent
/// ("12.0", "1e-05"). Zero and magnitudes from 0.0001 to 2^53 (2^24 for a `float`) have no exponent. Up to these
/// limits, `double` and `float` represent every whole number. Other texts are "inf", "-inf" and "nan".
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string numberDescription(double value);
[[nodiscard]] TESSALY_EXPORT std::string numberDescription(float value);

}  // namespace Tessaly::inline v1
