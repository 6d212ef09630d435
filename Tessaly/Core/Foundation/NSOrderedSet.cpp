// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/NSOrderedSet.hpp"

#include <fmt/format.h>

#include <stdexcept>

namespace Tessaly::inline v1::detail {

OrderedSetMoveError::OrderedSetMoveError(std::string errorDescription)
    : errorDescription(std::move(errorDescription)) {}

OrderedSetMoveError::~OrderedSetMoveError() = default;

std::string OrderedSetMoveError::description() const {
  return fmt::format("MoveError(errorDescription: \"{}\")", errorDescription);
}

std::string OrderedSetMoveError::localizedDescription() const { return errorDescription; }

std::string OrderedSetMoveError::domain() const { return "Tessaly.NSOrderedSet.MoveError"; }

void throwOrderedSetIndex(std::int64_t index, std::int64_t count) {
  throw std::out_of_range(fmt::format("The index {} is out of the bounds of {} elements", index, count));
}

}  // namespace Tessaly::inline v1::detail
