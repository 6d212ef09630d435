// SPDX-License-Identifier: MIT
// clang-format off: an example stands as it does in its header.
#include "Tessaly/SettingsAndObservation/Defaultable.hpp"

#include <vector>

namespace {

using namespace Tessaly;

void makeNothing() {
  std::vector<int> nothing = DefaultableTraits<std::vector<int>>::defaultValue();
}

}  // namespace
