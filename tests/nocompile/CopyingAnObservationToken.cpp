// expected: call to deleted constructor of 'Tessaly::ObservationToken'
// SPDX-License-Identifier: MIT
#include <utility>

#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"

void copy(Tessaly::ObservationToken token) {
#ifdef ALLOWED
  Tessaly::ObservationToken other(std::move(token));
#else
  Tessaly::ObservationToken other(token);
#endif
}
