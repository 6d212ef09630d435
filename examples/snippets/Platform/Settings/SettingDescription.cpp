// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/SettingDescription.hpp"

namespace Tessaly {

void describeTheVolume() {
  SettingDescription volume{.name = "volume", .kind = PropertyList::Kind::integer, .maximum = 100};
  bool isAllowed = volume.allows(150);  // False.
}

}  // namespace Tessaly
