// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/SystemLogBackend.hpp"

namespace Tessaly {

void useSystemsBackend() { LogBackend& backend = SystemLogBackend::shared(); }

}  // namespace Tessaly
