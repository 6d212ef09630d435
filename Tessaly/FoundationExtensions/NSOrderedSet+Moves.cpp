// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include "Tessaly/FoundationExtensions/NSOrderedSet+Moves.hpp"

namespace Tessaly::inline v1::detail {

std::int64_t destinationOfBlock(std::int64_t count, const std::set<std::int64_t>& indexes, std::int64_t destination,
                                bool includeDestinationIndex) {
  const auto moving = static_cast<std::int64_t>(indexes.size());
  if (moving >= count) throw OrderedSetMoveError("Cannot move all items");
  if (const auto bad = indexes.lower_bound(count); bad != indexes.end()) {
    throw OrderedSetMoveError(fmt::format("The source index {} is out of bounds ({})", *bad, count));
  }
  if (destination > count) {
    throw OrderedSetMoveError(fmt::format("The destination index {} is out of bounds ({})", destination, count + 1));
  }

  std::int64_t target = destination;
  bool hasStopped = false;
  bool hasShifted = false;
  for (const std::int64_t index : indexes) {
    if (moving != 1 && index + 1 == destination) {
      target = destination - moving;
      hasStopped = true;
      break;
    }
    if (index >= destination) {
      hasStopped = true;
      break;
    }
    --target;
    hasShifted = true;
  }
  if ((!hasStopped || hasShifted) && includeDestinationIndex && target < count - 1) ++target;
  return target;
}

void throwNothingOnTheLeft() {
  throw OrderedSetMoveError("Provided indexes for move left operation contains the 0 index");
}

void throwNothingOnTheRight() {
  throw OrderedSetMoveError("Provided indexes for move right operation contains the last valid index");
}

}  // namespace Tessaly::inline v1::detail
