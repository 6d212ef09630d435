// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Platform/Testing/SeededScheduler.hpp"
#include "Tessaly/SettingsAndObservation/MonitorableObject.hpp"
#include "tests/Support/Allocations.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {

class Work : public MonitorableObject {
 public:
  Property<std::string> title = "Blue";
};

class Song : public Work {
 public:
  Property<int> year = 1970;
  Property<std::string> artist;
  int plain = 0;
  [[nodiscard]] std::string label() const { return title.value() + " (" + std::to_string(year) + ")"; }
};

/// A class that lists its properties under other names.
class Film : public MonitorableObject {
 public:
  Property<std::string> title = "Stalker";
  Property<int> minutes = 162;
  [[nodiscard]] bool isLong() const { return minutes > 120; }

  struct MonitoredKeyPaths {
    MonitoredProperty<Film, std::string> name{keyPath<&Film::title>, false};
    MonitoredProperty<Film, bool> isLong{keyPath<&Film::isLong>, true};
  };
};

/// Connects its computed property itself with the properties that it depends on.
class Handmade : public MonitorableObject {
 public:
  Property<int> number = 1;
  [[nodiscard]] int twice() const { return 2 * number; }
  int connections = 0;

  template <typename Value>
  void monitorComputed(const KeyPath<Handmade, Value>& keyPath, const std::shared_ptr<KeyPathsMonitor>& into) {
    EXPECT_EQ(keyPath.name(), "twice");
    EXPECT_NE(into, nullptr);
    ++connections;
  }
};

/// A class that stores its monitors itself.
class Manual {
 public:
  struct MonitoredKeyPaths {
    MonitoredProperty<Manual, int> number;
    MonitoredProperty<Manual, int> twice;
  };

  [[nodiscard]] int number() const { return number_; }
  [[nodiscard]] int twice() const { return 2 * number_; }
  void setNumber(int number) {
    number_ = number;
    monitors_.didSet(keyPath<&Manual::number>, *this);
  }

  template <auto... Members>
  void registerMonitor(const std::shared_ptr<KeyPathsMonitor>& monitor) {
    monitors_.insert(monitor);
    const auto all = keyPaths();
    const auto connect = [&](const auto& property) {
      monitor->add(self.lock(), property.keyPath());
      if (property.isComputed()) monitorComputed(*this, property.keyPath(), monitor);
    };
    (connect(all.*Members), ...);
  }
  template <auto... Members>
  [[nodiscard]] auto monitoredProperties() const {
    const auto all = keyPaths();
    return std::tuple(all.*Members...);
  }
  void removeMonitor(const KeyPathsMonitor& monitor) { monitors_.remove(monitor); }
  [[nodiscard]] bool isMonitored() const { return !monitors_.isEmpty(); }

  std::weak_ptr<Manual> self;

 private:
  static MonitoredKeyPaths keyPaths() { return {{keyPath<&Manual::number>, false}, {keyPath<&Manual::twice>, true}}; }

  int number_ = 1;
  KeyPathsMonitor::Locked monitors_;
};

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Tests::allocationsOf;
using Tests::repetitions;

static_assert(Monitorable<Song> && Monitorable<Film> && Monitorable<Manual>);

TEST(MonitorableObject, DeliversAllListedValuesInOrder) {
  auto& scheduler = SeededScheduler::install();
  const auto song = std::make_shared<Song>();
  std::vector<std::pair<std::string, int>> seen;
  const auto monitor =
      song->monitor<&Song::title, &Song::year>(Isolation(), [&](std::string title, int year) -> Async<void> {
        seen.emplace_back(std::move(title), year);
        co_return;
      });
  const auto inATask = [&](auto change) {
    const Task<> task = Task<>::detached(change);
    scheduler.runUntilIdle();
  };
  scheduler.runUntilIdle();
  EXPECT_THAT(seen, IsEmpty());
  inATask([&] { song->year = 1999; });
  EXPECT_THAT(seen, ElementsAre(Pair("Blue", 1999)));
  inATask([&] { song->title = "Green"; });
  EXPECT_THAT(seen, ElementsAre(Pair("Blue", 1999), Pair("Green", 1999)));
  inATask([&] { song->artist = "nobody listed it"; });
  EXPECT_EQ(seen.size(), 2U);
  inATask([&] { song->year = 1999; });
  EXPECT_EQ(seen.size(), 3U) << "an equal value too";
}

TEST(MonitorableObject, DeliversOnTheCallersIsolation) {
  const auto song = std::make_shared<Song>();
  std::vector<bool> isMain;
  const auto monitor = song->monitor<&Song::year>([&](int) { isMain.push_back(MainQueue::isMainThread()); });
  std::thread([&] { song->year = 1999; }).join();
  while (isMain.empty()) MainQueue::drain();
  EXPECT_THAT(isMain, ElementsAre(true));
}

TEST(MonitorableObject, DeliversOnTheGivenIsolation) {
  const auto song = std::make_shared<Song>();
  const Isolation own = Isolation::serial();
  std::vector<Isolation> isolations;
  const auto monitor = song->monitor<&Song::year>(own, [&](int) -> Async<void> {
    isolations.push_back(Isolation::current());
    co_await Task<>::yield();
    isolations.push_back(Isolation::current());
  });
  syncWait([&]() -> Async<void> {
    co_await withIsolation(own, [&] { song->year = 1999; });
    co_await monitor->onChangeTask()->finished();
  });
  EXPECT_THAT(isolations, ElementsAre(own, own));
}

TEST(MonitorableObject, LatestChangeWins) {
  auto& scheduler = SeededScheduler::install();
  const auto song = std::make_shared<Song>();
  std::vector<int> finished;
  const auto monitor = song->monitor<&Song::year>(Isolation(), [&](int year) -> Async<void> {
    for (int i = 0; i < 10; ++i) {
      Task<>::checkCancellation();
      co_await Task<>::yield();
    }
    finished.push_back(year);
  });
  const Task<> changes = Task<>::detached([&]() -> Async<void> {
    for (int year = 1; year <= 5; ++year) {
      song->year = year;
      co_await Task<>::yield();
    }
  });
  scheduler.runUntilIdle();
  EXPECT_THAT(finished, ElementsAre(5));
}

TEST(MonitorableObject, ComputedPropertiesFollowTheirReads) {
  auto& scheduler = SeededScheduler::install();
  const auto song = std::make_shared<Song>();
  std::vector<std::string> seen;
  const auto monitor = song->monitor<&Song::label>(Isolation(), [&](std::string label) { seen.push_back(label); });
  const auto inATask = [&](auto change) {
    const Task<> task = Task<>::detached(change);
    scheduler.runUntilIdle();
  };
  inATask([&] { song->year = 1999; });
  inATask([&] { song->title = "Green"; });
  inATask([&] { song->artist = "x"; });
  EXPECT_THAT(seen, ElementsAre("Blue (1999)", "Green (1999)"));
}

TEST(MonitorableObject, MayListPropertiesByItsOwnNames) {
  auto& scheduler = SeededScheduler::install();
  const auto film = std::make_shared<Film>();
  std::vector<std::pair<std::string, bool>> seen;
  const auto monitor = film->monitor<&Film::MonitoredKeyPaths::name, &Film::MonitoredKeyPaths::isLong>(
      Isolation(), [&](std::string name, bool isLong) { seen.emplace_back(name, isLong); });
  const Task<> task = Task<>::detached([&] { film->minutes = 90; });
  scheduler.runUntilIdle();
  EXPECT_THAT(seen, ElementsAre(Pair("Stalker", false)));
  const auto records = film->monitoredProperties<&Film::MonitoredKeyPaths::isLong>();
  EXPECT_TRUE(std::get<0>(records).isComputed());
}

TEST(MonitorableObject, ClassMayConnectItsComputedProperties) {
  const auto handmade = std::make_shared<Handmade>();
  const auto monitor = handmade->monitor<&Handmade::number, &Handmade::twice>([](int, int) {});
  EXPECT_EQ(handmade->connections, 1);
}

TEST(MonitorableObject, OtherClassesCanBeMonitorableToo) {
  auto& scheduler = SeededScheduler::install();
  const auto manual = std::make_shared<Manual>();
  manual->self = manual;
  std::vector<std::pair<int, int>> seen;
  auto made = monitor<&Manual::MonitoredKeyPaths::number, &Manual::MonitoredKeyPaths::twice>(
      manual, Isolation(), [&](int number, int twice) { seen.emplace_back(number, twice); });
  const Task<> task = Task<>::detached([&] { manual->setNumber(21); });
  scheduler.runUntilIdle();
  EXPECT_THAT(seen, ElementsAre(Pair(21, 42)));
  EXPECT_TRUE(manual->isMonitored());
  made.reset();
  EXPECT_FALSE(manual->isMonitored());
}

TEST(MonitorableObject, RunsItsChangeHookAfterEveryAssignment) {
  const auto song = std::make_shared<Song>();
  std::vector<int> years;
  const auto monitor =
      KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([&] { years.push_back(song->year); }));
  song->registerMonitor<&Song::year>(monitor);
  song->year = 1;
  song->year = 1;
  song->year += 1;
  EXPECT_THAT(years, ElementsAre(1, 1, 2));
}

TEST(MonitorableObject, HasOneHookForAllMonitorsOfAProperty) {
  const auto song = std::make_shared<Song>();
  int changes = 0;
  int updates = 0;
  std::vector<std::shared_ptr<KeyPathsMonitor>> monitors;
  for (int i = 0; i < 3; ++i) {
    const auto monitor = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([&] { ++changes; }));
    song->registerMonitor<&Song::year, &Song::year, &Song::title>(monitor);
    monitor->store(monitors);
  }
  const auto onlyInserted = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([&] { ++changes; }));
  onlyInserted->monitoring(keyPath<&Song::year>, [&](KeyPathsMonitor&) { ++updates; });
  song->monitors().insert(onlyInserted);
  song->year = 1;
  EXPECT_EQ(changes, 3);
  EXPECT_EQ(updates, 2);
}

TEST(MonitorableObject, LivesAsLongAsAMonitorOfItsValues) {
  auto song = std::make_shared<Song>();
  const std::weak_ptr<Song> weak = song;
  auto monitor = song->monitor<&Song::year>([](int) {});
  song.reset();
  EXPECT_FALSE(weak.expired());
  monitor.reset();
  EXPECT_TRUE(weak.expired());
}

TEST(MonitorableObject, EndOfTheLastMonitorRemovesAllHooks) {
  struct Watched : MonitorableObject {
    Property<int> year = 1970;
    mutable int evaluations = 0;
    [[nodiscard]] int age() const {
      ++evaluations;
      return 2000 - year;
    }
  };
  const auto watched = std::make_shared<Watched>();
  {
    const auto monitor = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([] {}));
    watched->registerMonitor<&Watched::age>(monitor);
    watched->evaluations = 0;
    watched->year = 3;
    EXPECT_EQ(watched->evaluations, 1);
  }
  watched->year = 4;
  EXPECT_EQ(watched->evaluations, 1);
  EXPECT_TRUE(watched->monitors().isEmpty());
}

TEST(MonitorableObject, NotifyingMonitorsAllocatesNothing) {
  const auto song = std::make_shared<Song>();
  int changes = 0;
  std::vector<std::shared_ptr<KeyPathsMonitor>> monitors;
  for (int i = 0; i < 3; ++i) {
    const auto monitor = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([&] { ++changes; }));
    song->registerMonitor<&Song::year>(monitor);
    monitor->store(monitors);
  }
  EXPECT_EQ(allocationsOf([&] { song->year = 3; }), 0);
  EXPECT_EQ(changes, 3);
}

TEST(MonitorableObject, MonitorMayEndAtEveryStepOfADelivery) {
  enum class Step { afterTheChange, atTheBeginning, inTheMiddle, afterwards };
  auto& scheduler = SeededScheduler::install();
  for (const Step dropped : {Step::afterTheChange, Step::atTheBeginning, Step::inTheMiddle, Step::afterwards}) {
    auto song = std::make_shared<Song>();
    const std::weak_ptr<Song> weak = song;
    auto witness = std::make_shared<int>();
    std::shared_ptr<KeyPathsMonitor> monitor;
    std::vector<int> delivered;
    bool wasCancelled = false;
    const auto dropAt = [&](Step step) {
      if (step == dropped) monitor.reset();
    };
    monitor = song->monitor<&Song::year>(Isolation(), [&, witness](int year) -> Async<void> {
      dropAt(Step::atTheBeginning);
      co_await Task<>::yield();
      dropAt(Step::inTheMiddle);
      co_await Task<>::yield();
      wasCancelled = wasCancelled || Task<>::isCurrentCancelled();
      delivered.push_back(year);
    });
    const auto change = [&](int year) {
      const Task<> task = Task<>::detached([&, year] {
        song->year = year;
        dropAt(Step::afterTheChange);
      });
      scheduler.runUntilIdle();
    };
    change(1);
    dropAt(Step::afterwards);
    EXPECT_THAT(delivered, ElementsAre(1)) << "dropping the monitor does not cancel the delivery";
    EXPECT_FALSE(wasCancelled);
    EXPECT_TRUE(song->monitors().isEmpty());
    change(2);
    EXPECT_EQ(delivered.size(), 1U);
    EXPECT_EQ(witness.use_count(), 1);
    song.reset();
    EXPECT_TRUE(weak.expired());
  }
}

TEST(MonitorableObject, MonitorMayEndInItsHandler) {
  const auto song = std::make_shared<Song>();
  int changes = 0;
  std::shared_ptr<KeyPathsMonitor> monitor;
  monitor = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([&] {
    ++changes;
    monitor.reset();
  }));
  song->registerMonitor<&Song::year>(monitor);
  song->year = 1;
  song->year = 2;
  EXPECT_EQ(changes, 1);
  EXPECT_TRUE(song->monitors().isEmpty());
}

TEST(MonitorableObject, HandlerMayChangeTheObject) {
  const auto song = std::make_shared<Song>();
  std::vector<int> years;
  const auto monitor = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([&] {
    years.push_back(song->year);
    if (song->year < 3) song->year += 1;
  }));
  song->registerMonitor<&Song::year>(monitor);
  song->year = 1;
  EXPECT_THAT(years, ElementsAre(1, 2, 3));
}

TEST(MonitorableObject, MonitorMayEndOnAnotherThreadDuringADelivery) {
  for (int round = 0; round < repetitions(200); ++round) {
    const auto song = std::make_shared<Song>();
    std::atomic<bool> isInside = false;
    std::atomic<bool> isReleased = false;
    auto monitor = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([&] {
      isInside = true;
      isInside.notify_one();
      isReleased.wait(false);
    }));
    song->registerMonitor<&Song::year>(monitor);
    std::thread changer([&] { song->year = 1; });
    isInside.wait(false);
    monitor.reset();
    isReleased = true;
    isReleased.notify_one();
    changer.join();
    ASSERT_TRUE(song->monitors().isEmpty());
  }
}

TEST(MonitorableObject, ThreadsMayAddAndEndMonitors) {
  for (int round = 0; round < repetitions(100); ++round) {
    const auto song = std::make_shared<Song>();
    std::atomic<int> changes = 0;
    const auto comeAndGo = [&] {
      for (int i = 0; i < 20; ++i) {
        const auto monitor = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([&] { ++changes; }));
        song->registerMonitor<&Song::artist, &Song::year>(monitor);
      }
    };
    std::thread first(comeAndGo);
    std::thread second(comeAndGo);
    first.join();
    second.join();
    ASSERT_TRUE(song->monitors().isEmpty());
    const auto monitor = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([&] { ++changes; }));
    song->registerMonitor<&Song::year>(monitor);
    changes = 0;
    song->year = 1;
    ASSERT_EQ(changes, 1);
  }
}

TEST(MonitorableObject, ComputedPropertiesFollowOtherObjects) {
  struct Owner : MonitorableObject {
    Property<std::shared_ptr<Song>> song;
    [[nodiscard]] int year() const { return song->year; }
  };
  const auto song = std::make_shared<Song>();
  auto owner = std::make_shared<Owner>();
  owner->song = song;
  int changes = 0;
  const auto monitor = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([&] { ++changes; }));
  owner->registerMonitor<&Owner::year>(monitor);
  song->year = 1999;
  EXPECT_EQ(changes, 1);
  const auto change = [&] { song->year = 3; };
  owner.reset();
  EXPECT_EQ(allocationsOf(change), 0);
  EXPECT_EQ(changes, 1);
}

}  // namespace
}  // namespace Tessaly
