// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/IndexPath.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <ostream>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

IndexPath::IndexPath(Place place) : indexes_{place.section, place.item} {}

IndexPath IndexPath::appending(std::int64_t index) const {
  IndexPath longer = *this;
  longer.indexes_.push_back(index);
  return longer;
}

bool IndexPath::operator==(const IndexPath& other) const noexcept = default;
std::strong_ordering IndexPath::operator<=>(const IndexPath& other) const noexcept = default;

std::string IndexPath::description() const { return fmt::format("[{}]", fmt::join(indexes_, ", ")); }

void IndexPath::stopTooShort(std::size_t position) const noexcept {
  fatalError(fmt::format("The index path {} has no position {}", description(), position), "Tessaly/IndexPath",
             __LINE__);
}

std::ostream& operator<<(std::ostream& stream, const IndexPath& path) { return stream << path.description(); }

}  // namespace Tessaly::inline v1
