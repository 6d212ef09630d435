// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/Observations.hpp"

#include <memory>
#include <optional>
#include <string>

#include "Tessaly/Core/Observation/Property.hpp"

namespace Tessaly {

namespace {

struct Song {
  Property<std::string> title;
};
struct Player {
  Property<std::shared_ptr<Song>> song;
};

void show(const std::string& title) {}

Async<void> showObservations(std::shared_ptr<Player> player) {
  Observations<std::string> titles([player] { return player->song->title.value(); });
  auto iterator = titles.makeAsyncIterator();
  while (!Task<>::isCurrentCancelled()) show(*co_await iterator.next());
}

Async<void> showTheIterator(Observations<std::string> titles) {
  auto iterator = titles.makeAsyncIterator();
  std::optional<std::string> title = co_await iterator.next();
}

}  // namespace

}  // namespace Tessaly
