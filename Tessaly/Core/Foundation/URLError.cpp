// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/URLError.hpp"

#include <fmt/format.h>

namespace Tessaly::inline v1 {

URLError::~URLError() = default;

std::string URLError::domain() const { return "NSURLErrorDomain"; }

std::string URLError::description() const {
  return fmt::format("Error Domain=NSURLErrorDomain Code={} \"(null)\"", code());
}

}  // namespace Tessaly::inline v1
