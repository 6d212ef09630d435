// SPDX-License-Identifier: MIT
// clang-format off: an example stands as it does in its header.
#include "Tessaly/SettingsAndObservation/MonitoredProperty.hpp"

#include <string>

namespace Tessaly {

namespace {

struct Song {
  std::string title;
};

}  // namespace

void showMonitoredProperty() {
  MonitoredProperty<Song, std::string> title(keyPath<&Song::title>, false);
}

}  // namespace Tessaly
