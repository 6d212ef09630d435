// SPDX-License-Identifier: MIT
#include <memory>
#include <string>
#include <vector>

#include "Tessaly/Concurrency/Observations.hpp"
#include "Tessaly/Core/Observation/NSKeyValueObservation.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"

namespace Tessaly {

namespace {

void show(const std::string& text) {}
void show(int number) {}

struct Song {
  Property<std::string> title;
  Property<int> seconds = 0;
};

class Player {
 public:
  Property<std::shared_ptr<Song>> song;
  Property<int> volume = 50;
  Property<bool> isMuted = false;

  int loudness() const { return isMuted ? 0 : volume.value(); }
  std::string label() const { return song ? song->title.value() : "Nothing"; }
};

void follow(std::shared_ptr<Player> player, std::vector<ObservationToken>& tokens) {
  withContinuousObservation([player] { return player->label(); }, [](const std::string& label) { show(label); })
      .store(tokens);
}

Async<void> followInALoop(std::shared_ptr<Player> player) {
  const Observations loudness([player] { return player->loudness(); });
  auto iterator = loudness.makeAsyncIterator();
  while (!Task<>::isCurrentCancelled()) show(*co_await iterator.next());
}

NSKeyValueObservation followEveryChange(const std::shared_ptr<Player>& player) {
  return observe(player, keyPath<&Player::volume>, NSKeyValueObservingOptions::new_,
                 [](const auto& change) { show(*change.newValue); });
}

}  // namespace

}  // namespace Tessaly
