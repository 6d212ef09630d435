// expected: must be initialized by a constant expression
// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/Default.hpp"

#ifdef ALLOWED
constexpr auto volume = Tessaly::Default<int>::Key("volume", 50).within(0, 100);
#else
constexpr auto volume = Tessaly::Default<int>::Key("volume", 150).within(0, 100);
#endif
