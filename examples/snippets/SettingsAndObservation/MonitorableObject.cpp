// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/MonitorableObject.hpp"

#include <memory>
#include <string>

#include "Tessaly/Core/Observation/Property.hpp"

namespace Tessaly {

namespace {

void show(const std::string& label, int year) {}

}  // namespace

void showMonitorableObject() {
  class Song : public MonitorableObject {
   public:
    Property<std::string> title;
    Property<int> year = 1970;
    std::string label() const { return title + ", " + std::to_string(year); }
  };
  auto song = std::make_shared<Song>();
  auto monitor = song->monitor<&Song::label, &Song::year>([](std::string label, int year) { show(label, year); });
  song->title = "Blue";
}

}  // namespace Tessaly
