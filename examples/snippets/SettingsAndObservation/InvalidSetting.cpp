// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/InvalidSetting.hpp"

#include "Tessaly/SettingsAndObservation/Default.hpp"

namespace Tessaly {

constexpr auto volumeKey = Default<int>::Key("volume", 50).within(0, 100);
constexpr auto columnsKey = Default<int>::Key("columns", 80).within(20, 200, InvalidSetting::readsAsDefault);

}  // namespace Tessaly
