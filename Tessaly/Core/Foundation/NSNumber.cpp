// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/NSNumber.hpp"

#include <fmt/format.h>

#include <ostream>

namespace Tessaly::inline v1 {

std::string NSNumber::description() const {
  switch (kind_) {
    case Kind::boolean:
    case Kind::integer:
      return fmt::to_string(integer_);
    case Kind::unsignedInteger:
      return fmt::to_string(static_cast<std::uint64_t>(integer_));
    case Kind::single:
      return fmt::to_string(static_cast<float>(real_));
    case Kind::double_:
      break;
  }
  return fmt::to_string(real_);
}

std::ostream& operator<<(std::ostream& stream, const NSNumber& number) { return stream << number.description(); }

}  // namespace Tessaly::inline v1

std::size_t std::hash<Tessaly::NSNumber>::operator()(const Tessaly::NSNumber& number) const noexcept {
  if (const auto whole = number.exactly<std::int64_t>()) return std::hash<std::int64_t>()(*whole);
  if (const auto whole = number.exactly<std::uint64_t>()) return std::hash<std::uint64_t>()(*whole);
  const double real = number.doubleValue();
  return real != real ? 0 : std::hash<double>()(real);
}
