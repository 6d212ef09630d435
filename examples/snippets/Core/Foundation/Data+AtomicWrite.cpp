// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Data+AtomicWrite.hpp"

namespace Tessaly {

void save(const URL& file) {
  const Data settings("volume=7");
  writeAtomically(settings, file);
}

}  // namespace Tessaly
