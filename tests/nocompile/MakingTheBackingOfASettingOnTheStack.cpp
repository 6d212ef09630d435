// expected: no matching constructor
// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/Default.hpp"

void make(Tessaly::Default<int>::Key key) {
#ifdef ALLOWED
  auto backing = Tessaly::Default<int>::Backing::make(std::move(key), Tessaly::UserDefaults::standard());
#else
  Tessaly::Default<int>::Backing backing({}, std::move(key), Tessaly::UserDefaults::standard());
#endif
}
