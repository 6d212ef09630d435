// SPDX-License-Identifier: MIT
#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Chapters.hpp"
#include "Files.hpp"
#include "Tessaly/Concurrency/Observations.hpp"
#include "Tessaly/Platform/Observation/NSKeyValueObservation.hpp"
#include "Tessaly/Platform/Observation/ObservationRegistrar.hpp"
#include "Tessaly/Platform/Observation/Property.hpp"
#include "Tessaly/Platform/Tasks/MainQueue.hpp"
#include "Tessaly/Platform/Tasks/SyncWait.hpp"
#include "Tessaly/Platform/Tasks/Task.hpp"
#include "Tessaly/SettingsAndObservation/MonitorableObject.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"
#include "Tessaly/SettingsAndObservation/ResultProvider.hpp"

namespace Tour {
namespace {

using namespace Tessaly;
using namespace std::chrono_literals;

/// Plays files: which of them, and how loud. Queue and volume belong to the main thread, the position to all.
class Player : public MonitorableObject {
 public:
  Property<std::vector<std::string>> queue;
  Property<int> volume = 50;

  [[nodiscard]] std::size_t position() const {
    registrar_.access(*this, keyPath<&Player::position>);
    return position_;
  }
  void setPosition(std::size_t position) {
    registrar_.withMutation(*this, keyPath<&Player::position>, [&] { position_ = position; });
  }
  [[nodiscard]] std::optional<std::string> current() const {
    const std::size_t index = position();
    if (index >= queue->size()) return std::nullopt;
    return queue[index];
  }
  [[nodiscard]] bool isSilent() const { return volume == 0 || !current().has_value(); }

 private:
  std::atomic<std::size_t> position_ = 0;
  ObservationRegistrar registrar_;
};

/// Lets the main queue work until something is so, for at most 10 s.
template <typename Condition>
Async<bool> comesTrue(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (!condition() && std::chrono::steady_clock::now() < deadline) co_await Task<>::yield();
  co_return condition();
}

/// What the four ways of following have delivered.
struct Delivered {
  std::vector<std::string> inTheFirstPass;
  std::vector<std::string> current;
  int nothing = 0;
  std::vector<int> volumes;
  std::vector<std::pair<std::size_t, std::size_t>> positions;
  std::vector<std::pair<bool, int>> monitored;
  bool allOnTheMainThread = true;
};

Async<void> consume(std::shared_ptr<Player> player, Delivered* delivered) {
  const Observations volumes([player] { return player->volume.value(); });
  auto iterator = volumes.makeAsyncIterator();
  while (!Task<>::isCurrentCancelled()) {
    const int volume = *co_await iterator.next();
    if (!Task<>::isCurrentCancelled()) delivered->volumes.push_back(volume);
  }
}

Async<void> tell(Narrator& narrator) {
  std::vector<std::string> names;
  for (const File& file : filesBelow(systemFolder())) {
    names.push_back(file.path.filename().string());
    if (names.size() == 3) break;
  }
  const auto player = std::make_shared<Player>();
  Delivered delivered;
  const auto seeThread = [&] {
    delivered.allOnTheMainThread = delivered.allOnTheMainThread && MainQueue::isMainThread();
  };

  std::vector<ObservationToken> tokens;
  withContinuousObservation(
      [player] { return player->current(); },
      [&](const std::string& name) {
        seeThread();
        (ObservationToken::isFirst() ? delivered.inTheFirstPass : delivered.current).push_back(name);
      },
      [&](const std::optional<std::string>& name) { delivered.nothing += name ? 0 : 1; })
      .store(tokens);
  const Task<> consumer([player, &delivered] { return consume(player, &delivered); });
  const auto positions =
      observe(player, keyPath<&Player::position>, NSKeyValueObservingOptions::old | NSKeyValueObservingOptions::new_,
              [&](const auto& change) { delivered.positions.emplace_back(*change.oldValue, *change.newValue); });
  std::vector<std::shared_ptr<KeyPathsMonitor>> monitors;
  player
      ->monitor<&Player::isSilent, &Player::volume>([&](bool isSilent, int volume) {
        seeThread();
        delivered.monitored.emplace_back(isSilent, volume);
      })
      ->store(monitors);
  narrator.check(delivered.nothing == 1 && delivered.inTheFirstPass.empty(),
                 "A continuous observation told before it returned that nothing is playing");
  narrator.check(co_await comesTrue([&] { return delivered.volumes.size() == 1; }) && delivered.volumes[0] == 50,
                 "A sequence of volumes began with the present one, 50");

  player->queue = names;
  narrator.check(co_await comesTrue([&] { return delivered.current.size() == 1; }) && delivered.current[0] == names[0],
                 text("A queue of files came from the main queue: now playing ", names[0]));

  const auto onThePool = [](auto change) { return Task<>({.isolation = Isolation()}, change).finished(); };
  bool wasMain = true;
  co_await onThePool([&] {
    wasMain = MainQueue::isMainThread();
    player->setPosition(1);
  });
  // A pass that runs while the position is being stored may see the old one; another then follows.
  narrator.check(!wasMain && co_await comesTrue([&] { return delivered.current.back() == names[1]; }),
                 text("A thread of the pool moved on: now playing ", names[1]));
  narrator.check(delivered.positions == std::vector<std::pair<std::size_t, std::size_t>>{{0, 1}},
                 "An observer of the position was told 0, then 1, at once and on that thread");

  for (const int volume : {40, 20, 0}) player->volume = volume;
  narrator.check(co_await comesTrue([&] { return delivered.volumes.size() == 2; }) && delivered.volumes[1] == 0,
                 "Three changes of the volume made one element, the last: 0");
  narrator.check(co_await comesTrue(
                     [&] { return !delivered.monitored.empty() && delivered.monitored.back() == std::pair(true, 0); }),
                 text("A monitor of a computed and a stored property was told after each change, last: silent at 0"));
  narrator.check(delivered.allOnTheMainThread,
                 "Whoever changed what, values came on the main thread, where they were asked for");

  tokens.clear();
  monitors.clear();
  consumer.cancel();
  co_await consumer.finished();
  const std::size_t before = delivered.current.size() + delivered.volumes.size() + delivered.monitored.size();
  player->setPosition(2);
  player->volume = 80;
  const ResultProvider<std::size_t> now(
      [&] { return delivered.current.size() + delivered.volumes.size() + delivered.monitored.size(); });
  for (int i = 0; i < 100; ++i) co_await Task<>::yield();
  narrator.check(now.wrappedValue() == before && player->monitors().isEmpty() && delivered.positions.size() == 2,
                 "Once tokens, monitors and consumer were dropped, only the observer that was kept heard of a change");
}

}  // namespace

void tellOfObservation(Narrator& narrator) {
  syncWait([&] { return tell(narrator); });
}

}  // namespace Tour
