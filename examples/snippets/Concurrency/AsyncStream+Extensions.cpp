// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/AsyncStream+Extensions.hpp"
#include "Tessaly/Core/Observation/Property.hpp"

namespace Tessaly {

struct Player {
  Property<int> volume = 50;
};
void show(int volume);

Async<void> showObserving(std::shared_ptr<Player> player) {
  auto volumes = AsyncStream<int>::observing(keyPath<&Player::volume>, player, NSKeyValueObservingOptions::new_);
  auto iterator = volumes.makeAsyncIterator();
  while (auto volume = co_await iterator.next()) show(*volume);
}

}  // namespace Tessaly
