// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/POSIXError.hpp"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

namespace Tessaly::inline v1 {

POSIXError::~POSIXError() = default;

POSIXError POSIXError::last() noexcept { return POSIXError(errno); }

std::string POSIXError::description() const {
  const char* text = ::strerrordesc_np(code_);
  return fmt::format("Error Domain=NSPOSIXErrorDomain Code={} \"{}\"", code_, text != nullptr ? text : "(null)");
}

std::string POSIXError::localizedDescription() const {
  const char* text = ::strerrordesc_np(code_);
  if (text == nullptr) return Error::localizedDescription();
  return fmt::format("The operation couldn’t be completed. {}", text);
}

std::string POSIXError::domain() const { return "NSPOSIXErrorDomain"; }

}  // namespace Tessaly::inline v1
