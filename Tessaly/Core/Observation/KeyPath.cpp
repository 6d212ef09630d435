// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/KeyPath.hpp"

#include <ostream>

namespace Tessaly::inline v1 {

std::string AnyKeyPath::description() const {
  return std::string(identity_->rootName).append(".").append(identity_->memberName);
}

std::ostream& operator<<(std::ostream& stream, const AnyKeyPath& keyPath) { return stream << keyPath.description(); }

}  // namespace Tessaly::inline v1
