// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Range.hpp"

#include <fmt/format.h>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

void detail::stopUnorderedRange(std::string_view kind) noexcept {
  fatalError(fmt::format("{} requires lowerBound <= upperBound", kind), "Tessaly/Range", __LINE__);
}

}  // namespace Tessaly::inline v1
