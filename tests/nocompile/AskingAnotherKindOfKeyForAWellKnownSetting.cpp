// expected: canConnectToHost
// SPDX-License-Identifier: MIT
#include <string_view>

#include "Tessaly/SettingsAndObservation/Default.hpp"

#ifdef ALLOWED
using Value = bool;
#else
using Value = int;
#endif

std::string_view name() { return Tessaly::Default<Value>::Key::canConnectToHost.name(); }
