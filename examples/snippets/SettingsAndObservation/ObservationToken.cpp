// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"

#include <memory>
#include <vector>

#include "Tessaly/Core/Observation/Property.hpp"

namespace Tessaly {

namespace {

struct Player {
  Property<int> volume = 50;
};

void show(int volume) {}

}  // namespace

void showObservationToken(std::shared_ptr<Player> player) {
  std::vector<ObservationToken> tokens;
  withContinuousObservation([player] { return player->volume.value(); }, [](int volume) { show(volume); })
      .store(tokens);
}

}  // namespace Tessaly
