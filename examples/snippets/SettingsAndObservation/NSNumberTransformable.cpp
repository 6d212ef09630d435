// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/NSNumberTransformable.hpp"

namespace {

using namespace Tessaly;

void unbox() {
  std::int16_t wrapped = NSNumberTransformableTraits<std::int16_t>::from(NSNumber(40'000));  // -25536
}

}  // namespace
