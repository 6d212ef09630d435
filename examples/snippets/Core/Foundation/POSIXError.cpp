// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/POSIXError.hpp"

#include <sys/stat.h>

namespace Tessaly {

void showPOSIXError() {
  if (::mkdir("/proc/none", 0700) != 0) throw POSIXError::last();
}

}  // namespace Tessaly
