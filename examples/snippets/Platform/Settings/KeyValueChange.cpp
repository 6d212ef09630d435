// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/KeyValueChange.hpp"

#include <cassert>

namespace Tessaly {

void showChange() {
  KeyValueChange removal{.newValue = KeyValueChange::null(), .origin = ChangeOrigin::otherProcess};
  assert(!removal.isEmpty());
}

}  // namespace Tessaly
