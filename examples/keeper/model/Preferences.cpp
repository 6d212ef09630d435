// SPDX-License-Identifier: MIT
#include "Preferences.hpp"

#include "Tessaly/Platform/Settings/UserDefaults.hpp"

namespace keeper {

void publishPreferences() {
  Tessaly::UserDefaults::standard()->publishKeys({themeKey.described("Colours: system, light or dark"),
                                                  showsHiddenFilesKey.described("Whether names with a dot are listed"),
                                                  directoryKey.described("The directory that was shown last")});
}

}  // namespace keeper
