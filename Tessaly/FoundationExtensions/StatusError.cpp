// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/StatusError.hpp"

#include <fmt/format.h>

#include <utility>

namespace Tessaly::inline v1::Int32 {

StatusError::StatusError(std::int32_t status, std::string message) : status(status), message(std::move(message)) {}

StatusError::~StatusError() = default;

std::string StatusError::description() const { return fmt::format("Status {} | {}", status, message); }

void detail::throwStatusError(std::int32_t status, std::string message) {
  throw StatusError(status, std::move(message));
}

}  // namespace Tessaly::inline v1::Int32
