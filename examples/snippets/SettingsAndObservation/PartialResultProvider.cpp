// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/PartialResultProvider.hpp"

namespace Tessaly {

void showPartialResultProvider() {
  const PartialResultProvider<int> limit(100);
  int most = limit.wrappedValue();
}

}  // namespace Tessaly
