// SPDX-License-Identifier: MIT
#include "Tessaly/ValueRecords/URLBookmark.hpp"

#include "Tessaly/SettingsAndObservation/Default.hpp"

namespace Tessaly {

void showURLBookmark(const URL& chosenFolder, Default<std::optional<URLBookmark>>& folderSetting) {
  std::optional<URLBookmark> bookmark = URLBookmark::from(chosenFolder);
  if (bookmark) folderSetting.setValue(*bookmark);
}

}  // namespace Tessaly
