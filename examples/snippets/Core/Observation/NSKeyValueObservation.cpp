// SPDX-License-Identifier: MIT
// clang-format off: an example stands as it does in its header.
#include "Tessaly/Core/Observation/NSKeyValueObservation.hpp"

#include <memory>

#include "Tessaly/Core/Observation/Property.hpp"

namespace Tessaly {

namespace {

struct Player {
  Property<int> volume = 50;
};

void show(int before, int after) {}

}  // namespace

void showNSKeyValueObservation(std::shared_ptr<Player> player) {
  auto options = NSKeyValueObservingOptions::new_ | NSKeyValueObservingOptions::old;
  NSKeyValueObservation volume = observe(player, keyPath<&Player::volume>, options, [](const auto& change) {
    show(*change.oldValue, *change.newValue);
  });
  volume.invalidate();
}

}  // namespace Tessaly
