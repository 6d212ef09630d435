// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/Property.hpp"

#include <string>
#include <vector>

namespace Tessaly {

namespace {

void show(const std::string& title) {}

}  // namespace

void showProperty() {
  struct Player {
    Property<std::string> title = "Nothing";
    Property<int> volume = 50;
    Property<std::vector<std::string>> queue;
    bool isSilent() const { return volume == 0; }
  };
  Player player;
  player.title = "Blue";
  player.volume += 10;
  player.queue.modify([](auto& queue) { queue.push_back("Green"); });
  for (const std::string& title : player.queue) show(title);
}

}  // namespace Tessaly
