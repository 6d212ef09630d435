// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/FoundationExtensions/Range+Extensions.hpp"

namespace Tessaly::inline v1 {

void detail::stopRangeOverflow() noexcept {
  fatalError("Arithmetic overflow in the width of a range", "Tessaly/Range+Extensions", __LINE__);
}

}  // namespace Tessaly::inline v1
