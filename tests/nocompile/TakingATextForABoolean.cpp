// expected: call to deleted member function 'setValue'
// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/Default.hpp"

void hide(Tessaly::Default<bool>& showsHiddenFiles) {
#ifdef ALLOWED
  showsHiddenFiles.setValue(false);
#else
  showsHiddenFiles.setValue("no");
#endif
}
