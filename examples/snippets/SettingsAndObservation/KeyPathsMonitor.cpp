// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/KeyPathsMonitor.hpp"

#include <memory>
#include <string>

#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/SettingsAndObservation/MonitorableObject.hpp"

namespace Tessaly {

namespace {

struct Song : MonitorableObject {
  Property<std::string> title;

  void showLocked(const std::shared_ptr<KeyPathsMonitor>& monitor) {
    KeyPathsMonitor::Locked monitors;
    monitors.insert(monitor);
    monitors.didSet(keyPath<&Song::title>, *this);
  }
};

struct Window {
  void setNeedsDisplay() {}
};

}  // namespace

void showKeyPathsMonitor(std::shared_ptr<Song> song, Window& window) {
  auto monitor = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([&] { window.setNeedsDisplay(); }));
  monitor->add(song, keyPath<&Song::title>);
  song->monitors().insert(monitor);
}

}  // namespace Tessaly
