// SPDX-License-Identifier: MIT
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Chapters.hpp"
#include "Commands.hpp"
#include "Files.hpp"
#include "Tessaly/Concurrency/Mutex.hpp"
#include "Tessaly/Concurrency/Observations.hpp"
#include "Tessaly/Core/Observation/NSKeyValueObservation.hpp"
#include "Tessaly/Core/Observation/ObservationRegistrar.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"
#include "Tessaly/SettingsAndObservation/MonitorableObject.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"
#include "Tessaly/SettingsAndObservation/ResultProvider.hpp"

namespace Tour {
namespace {

using namespace Tessaly;
using namespace std::chrono_literals;

constexpr const char* identifier = "org.example.tour";
constexpr Default<std::int64_t>::Key volumeKey{"player-volume", 50};

/// Plays files, with a position and a volume. The queue belongs to the main thread, the position to all threads. The
/// volume is a setting, which any process may change.
class Player : public MonitorableObject {
 public:
  Property<std::vector<std::string>> queue;

  [[nodiscard]] std::size_t position() const {
    registrar_.access(*this, keyPath<&Player::position>);
    return position_;
  }
  void setPosition(std::size_t position) {
    registrar_.withMutation(*this, keyPath<&Player::position>, [&] { position_ = position; });
  }
  [[nodiscard]] std::int64_t volume() const { return volume_.value(); }
  void setVolume(std::int64_t volume) { volume_.setValue(volume); }

  [[nodiscard]] std::string label() const {
    const std::size_t index = position();
    return text(index < queue->size() ? queue[index] : "nothing", " at ", volume());
  }

 private:
  std::atomic<std::size_t> position_ = 0;
  ObservationRegistrar registrar_;
  Default<std::int64_t> volume_{volumeKey};
};

/// Runs the main queue until a condition holds, at most 10 s.
template <typename Condition>
Async<bool> comesTrue(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (!condition() && std::chrono::steady_clock::now() < deadline) co_await Task<>::yield();
  co_return condition();
}

/// The deliveries of each kind of observer, all on the main thread.
struct Delivered {
  std::vector<std::string> inTheFirstPass;
  std::vector<std::string> inPasses;
  std::vector<std::string> asElements;
  std::vector<std::string> byMonitor;
  bool allOnTheMainThread = true;

  void add(std::vector<std::string>& list, std::string label) {
    allOnTheMainThread = allOnTheMainThread && MainQueue::isMainThread();
    list.push_back(std::move(label));
  }
  [[nodiscard]] bool allSay(const std::string& label) const {
    const auto isLast = [&](const std::vector<std::string>& list) { return !list.empty() && list.back() == label; };
    return isLast(inPasses) && isLast(asElements) && isLast(byMonitor);
  }
  [[nodiscard]] std::size_t count() const { return inPasses.size() + asElements.size() + byMonitor.size(); }
};

Async<void> consume(std::shared_ptr<Player> player, Delivered* delivered) {
  const Observations labels([player] { return player->label(); });
  auto iterator = labels.makeAsyncIterator();
  while (!Task<>::isCurrentCancelled()) {
    std::string label = *co_await iterator.next();
    if (!Task<>::isCurrentCancelled()) delivered->add(delivered->asElements, std::move(label));
  }
}

/// Changes the volume three times in a row, faster than any observer can react.
Async<void> turnDown(Narrator& narrator, std::shared_ptr<Player> player, const Delivered& delivered) {
  const std::size_t passes = delivered.inPasses.size();
  const std::size_t elements = delivered.asElements.size();
  for (const int volume : {40, 30, 0}) player->setVolume(volume);
  const bool isSo = co_await comesTrue([&] { return delivered.allSay(player->label()); });
  // One pass and one element, and one more of each if the previous change was still being delivered.
  narrator.check(isSo && delivered.inPasses.size() <= passes + 2 && delivered.asElements.size() <= elements + 2,
                 text("Three changes of the volume in a row made ", delivered.inPasses.size() - passes, " pass, and ",
                      delivered.asElements.size() - elements, " element: ", delivered.inPasses.back()));
}

Async<void> tell(Narrator& narrator) {
  std::vector<std::string> names;
  for (const File& file : filesBelow(systemFolder())) {
    names.push_back(file.path.filename().string());
    if (names.size() == 3) break;
  }
  const auto player = std::make_shared<Player>();
  Delivered delivered;
  // A change calls its observers on the changing thread.
  using Volumes = std::vector<std::pair<std::int64_t, std::int64_t>>;
  Mutex<Volumes> volumes{Volumes()};

  std::vector<ObservationToken> tokens;
  withContinuousObservation([player] { return player->label(); },
                            [&](const std::string& label) {
                              delivered.add(ObservationToken::isFirst() ? delivered.inTheFirstPass : delivered.inPasses,
                                            label);
                            })
      .store(tokens);
  const Task<> consumer([player, &delivered] { return consume(player, &delivered); });
  std::vector<std::shared_ptr<KeyPathsMonitor>> monitors;
  player
      ->monitor<&Player::queue, &Player::position, &Player::volume>([&](const std::vector<std::string>& queue,
                                                                        std::size_t position, std::int64_t volume) {
        delivered.add(delivered.byMonitor, text(position < queue.size() ? queue[position] : "nothing", " at ", volume));
      })
      ->store(monitors);
  auto observation =
      observe(player, keyPath<&Player::volume>, NSKeyValueObservingOptions::old | NSKeyValueObservingOptions::new_,
              [&](const auto& change) {
                volumes.withLock([&](Volumes& all) { all.emplace_back(*change.oldValue, *change.newValue); });
              });
  const auto toldOfVolumes = [&] { return volumes.withLock([](const Volumes& all) { return all; }); };

  narrator.check(delivered.inTheFirstPass == std::vector<std::string>{"nothing at 50"} && delivered.count() == 0,
                 "A continuous observation told before it returned: nothing at 50");
  narrator.check(co_await comesTrue([&] { return delivered.asElements.size() == 1; }) &&
                     delivered.asElements[0] == "nothing at 50" && delivered.byMonitor.empty(),
                 "A sequence began with the same, and a monitor is silent until something changes");

  player->queue = names;
  narrator.check(co_await comesTrue([&] { return delivered.allSay(names[0] + " at 50"); }),
                 text("The main queue brought files: a pass, an element and a monitor tell of ", names[0], " at 50"));

  bool wasMain = true;
  co_await Task<>({.isolation = Isolation()}, [&] {
    wasMain = MainQueue::isMainThread();
    player->setPosition(1);
  }).finished();
  narrator.check(!wasMain && co_await comesTrue([&] { return delivered.allSay(names[1] + " at 50"); }),
                 text("A thread of the pool moved on: all three tell of ", names[1], " at 50"));

  const CommandResult written =
      runCommand({TOUR_TOOL, "defaults", "write", identifier, std::string(volumeKey.name()), "-int", "20"});
  narrator.check(written.status == 0 && co_await comesTrue([&] { return delivered.allSay(names[1] + " at 20"); }),
                 text("A second process turned it down: all three tell of ", names[1], " at 20"));
  narrator.check(co_await comesTrue([&] { return !toldOfVolumes().empty(); }) && toldOfVolumes() == Volumes{{50, 20}},
                 "An observer of the volume was told at once, on the thread that heard of it: 50, then 20");

  co_await turnDown(narrator, player, delivered);
  narrator.check(toldOfVolumes() == Volumes{{50, 20}, {20, 40}, {40, 30}, {30, 0}},
                 "The observer was told of each of them: 40, 30, 0");
  narrator.check(delivered.allOnTheMainThread,
                 "Whoever changed what, values came on the main thread, where they were asked for");

  tokens.clear();
  monitors.clear();
  consumer.cancel();
  co_await consumer.finished();
  const ResultProvider<std::size_t> now([&] { return delivered.count(); });
  const std::size_t before = now.wrappedValue();
  player->setPosition(2);
  player->setVolume(80);
  for (int i = 0; i < 100; ++i) co_await Task<>::yield();
  narrator.check(now.wrappedValue() == before && player->monitors().isEmpty() && toldOfVolumes().back().second == 80,
                 "Once tokens, monitors and consumer were dropped, only the observer that was kept heard of a change");
  observation.invalidate();
  volumes.assignWithLock(Volumes());  // A mutex does not destroy its value.
}

}  // namespace

void tellOfObservation(Narrator& narrator) {
  syncWait([&] { return tell(narrator); });
}

}  // namespace Tour
