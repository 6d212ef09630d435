// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/Defaultable.hpp"

#include <vector>

namespace {

using namespace Tessaly;

void makeNothing() {
  std::vector<int> nothing = DefaultableTraits<std::vector<int>>::defaultValue();
}

}  // namespace
