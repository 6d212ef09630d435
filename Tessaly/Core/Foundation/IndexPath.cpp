// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/IndexPath.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <ostream>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

std::string IndexPath::description() const { return fmt::format("[{}]", fmt::join(indexes_, ", ")); }

void IndexPath::stopTooShort(std::size_t position) const noexcept {
  fatalError(fmt::format("The index path {} has no position {}", description(), position), "Tessaly/IndexPath",
             __LINE__);
}

std::ostream& operator<<(std::ostream& stream, const IndexPath& path) { return stream << path.description(); }

}  // namespace Tessaly::inline v1
