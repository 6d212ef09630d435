// SPDX-License-Identifier: MIT
#include "Preferences.hpp"

#include "Tessaly/Platform/Settings/UserDefaults.hpp"

namespace keeper {

void publishPreferences() {
  Tessaly::UserDefaults::standard()->publishKeys(
      {themeKey.described("Colours: system, light or dark"),
       showsHiddenFilesKey.described("Whether names with a dot are listed"),
       showsSizeKey.described("Whether the list has the column of sizes"),
       showsKindKey.described("Whether the list has the column of kinds"),
       showsDateKey.described("Whether the list has the column of dates"),
       updateDelayKey.described("Milliseconds in which changes of the directory are collected, 0 to 600000"),
       directoryKey.described("The directory that was shown last")});
}

}  // namespace keeper
