// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Observation/NSKeyValueObservation.hpp"
#include "Tessaly/Core/Observation/ObservationRegistrar.hpp"
#include "Tessaly/Core/Observation/ObservationTracking.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "tests/Support/Allocations.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/Threads.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::KilledBySignal;
using testing::Pair;
using Tests::repetitions;
using Options = NSKeyValueObservingOptions;
using Number = std::optional<int>;

struct Base {
  Property<int> volume = 50;
};
struct Player : Base {
  Property<bool> isMuted = false;
  int plain = 0;
  [[nodiscard]] int loudness() const { return isMuted ? 0 : volume * 2; }
};

/// A number that any thread may change, announced by a registrar.
class Counter {
 public:
  int value() const {
    registrar_.access(*this, keyPath<&Counter::value>);
    return value_.load();
  }
  void increment() {
    registrar_.withMutation(*this, keyPath<&Counter::value>, [&] { value_.fetch_add(1); });
  }

 private:
  std::atomic<int> value_ = 0;
  ObservationRegistrar registrar_;
};

/// A number that any thread may assign.
struct SharedNumber {
  SharedNumber(int number = 0) : number(number) {}
  SharedNumber(const SharedNumber& other) : number(other.number.load()) {}
  SharedNumber& operator=(const SharedNumber& other) { return *this = other.number.load(); }
  SharedNumber& operator=(int value) {
    number = value;
    return *this;
  }
  std::atomic<int> number;
};
/// A stored property that any thread may assign.
struct Gauge {
  Property<SharedNumber> level;
};

/// Records (old, new) of each change.
struct Recorder {
  std::vector<std::pair<Number, Number>>& records;
  void operator()(const NSKeyValueObservedChange<int>& change) const {
    EXPECT_EQ(change.kind, NSKeyValueChange::setting);
    records.emplace_back(change.oldValue, change.newValue);
  }
};

TEST(NSKeyValueObservation, RecordsContainTheRequestedValues) {
  const auto player = std::make_shared<Player>();
  std::vector<std::pair<Number, Number>> none;
  std::vector<std::pair<Number, Number>> olds;
  std::vector<std::pair<Number, Number>> news;
  std::vector<std::pair<Number, Number>> both;
  const auto first = observe(player, keyPath<&Player::volume>, Options::none, Recorder{none});
  const auto second = observe(player, keyPath<&Player::volume>, Options::old, Recorder{olds});
  const auto third = observe(player, keyPath<&Player::volume>, Options::new_, Recorder{news});
  const auto fourth = observe(player, keyPath<&Player::volume>, Options::new_ | Options::old, Recorder{both});
  EXPECT_THAT(both, IsEmpty());
  player->volume = 60;
  player->volume = 60;
  player->volume += 5;
  const std::optional<int> no;
  EXPECT_THAT(none, ElementsAre(Pair(no, no), Pair(no, no), Pair(no, no)));
  EXPECT_THAT(olds, ElementsAre(Pair(50, no), Pair(60, no), Pair(60, no)));
  EXPECT_THAT(news, ElementsAre(Pair(no, 60), Pair(no, 60), Pair(no, 65)));
  EXPECT_THAT(both, ElementsAre(Pair(50, 60), Pair(60, 60), Pair(60, 65)));
}

TEST(NSKeyValueObservation, InitialRecordArrivesBeforeObserveReturns) {
  const auto player = std::make_shared<Player>();
  const std::optional<int> no;
  std::vector<std::pair<Number, Number>> bare;
  const auto first = observe(player, keyPath<&Player::volume>, Options::initial, Recorder{bare});
  EXPECT_THAT(bare, ElementsAre(Pair(no, no)));
  std::vector<std::pair<Number, Number>> all;
  const auto second =
      observe(player, keyPath<&Player::volume>, Options::initial | Options::new_ | Options::old, Recorder{all});
  EXPECT_THAT(all, ElementsAre(Pair(no, 50)));
  player->volume = 51;
  EXPECT_THAT(all, ElementsAre(Pair(no, 50), Pair(50, 51)));
}

TEST(NSKeyValueObservation, ComputedPropertyFollowsItsReads) {
  const auto player = std::make_shared<Player>();
  std::vector<std::pair<Number, Number>> records;
  const auto observation = observe(player, keyPath<&Player::loudness>, Options::new_ | Options::old, Recorder{records});
  player->volume = 10;
  player->isMuted = true;
  player->volume = 30;  // The function does not read the volume while the player is muted.
  player->isMuted = false;
  EXPECT_THAT(records, ElementsAre(Pair(100, 20), Pair(20, 0), Pair(0, 60)));
}

TEST(NSKeyValueObservation, ObservesPropertiesOfARegistrar) {
  const auto counter = std::make_shared<Counter>();
  std::vector<std::pair<Number, Number>> records;
  const auto observation = observe(counter, keyPath<&Counter::value>, Options::new_ | Options::old, Recorder{records});
  counter->increment();
  EXPECT_THAT(records, ElementsAre(Pair(0, 1)));
}

TEST(NSKeyValueObservation, PlainMemberReportsNothing) {
  const auto player = std::make_shared<Player>();
  std::vector<std::pair<Number, Number>> records;
  const auto observation = observe(player, keyPath<&Player::plain>, Options::new_, Recorder{records});
  player->plain = 3;
  EXPECT_THAT(records, IsEmpty());
}

TEST(NSKeyValueObservation, HandlersOwnChangeIsReportedAtOnce) {
  const auto player = std::make_shared<Player>();
  std::vector<int> values;
  const auto observation = observe(player, keyPath<&Player::volume>, Options::new_, [&](const auto& change) {
    values.push_back(*change.newValue);
    if (*change.newValue < 3) player->volume += 1;
    values.push_back(-*change.newValue);
  });
  player->volume = 1;
  EXPECT_THAT(values, ElementsAre(1, 2, 3, -3, -2, -1));
}

TEST(NSKeyValueObservation, EndsWithItsOwner) {
  const auto player = std::make_shared<Player>();
  std::vector<std::pair<Number, Number>> records;
  {
    const auto observation = observe(player, keyPath<&Player::volume>, Options::new_, Recorder{records});
  }
  player->volume = 1;
  auto observation = observe(player, keyPath<&Player::volume>, Options::new_, Recorder{records});
  observation.invalidate();
  observation.invalidate();
  player->volume = 2;
  observation = observe(player, keyPath<&Player::volume>, Options::new_, Recorder{records});
  observation = NSKeyValueObservation();
  player->volume = 3;
  EXPECT_THAT(records, IsEmpty());
}

TEST(NSKeyValueObservation, DestroysItsHandlerAtItsEnd) {
  const auto player = std::make_shared<Player>();
  auto witness = std::make_shared<int>();
  auto observation = observe(player, keyPath<&Player::volume>, Options::new_, [witness](const auto&) {});
  player->volume = 1;
  EXPECT_EQ(witness.use_count(), 2);
  observation.invalidate();
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(NSKeyValueObservation, OutlivesItsObject) {
  auto player = std::make_shared<Player>();
  std::vector<std::pair<Number, Number>> records;
  auto observation = observe(player, keyPath<&Player::loudness>, Options::new_ | Options::old, Recorder{records});
  EXPECT_EQ(player.use_count(), 1);
  player.reset();
  EXPECT_THAT(records, IsEmpty());
  observation.invalidate();
}

TEST(NSKeyValueObservation, HandlerMayEndTheObservation) {
  const auto player = std::make_shared<Player>();
  int changes = 0;
  NSKeyValueObservation observation;
  observation = observe(player, keyPath<&Player::volume>, Options::none, [&](const auto&) {
    ++changes;
    observation.invalidate();
  });
  player->volume = 1;
  player->volume = 2;
  EXPECT_EQ(changes, 1);
}

TEST(NSKeyValueObservation, HandlerMayDestroyTheObject) {
  auto player = std::make_shared<Player>();
  int changes = 0;
  const auto observation = observe(player, keyPath<&Player::volume>, Options::none, [&](const auto&) {
    ++changes;
    player.reset();
  });
  Player* const address = player.get();
  address->volume = 1;
  EXPECT_EQ(changes, 1);
}

TEST(NSKeyValueObservation, ObservingIsNotTrackedAsARead) {
  const auto player = std::make_shared<Player>();
  int changes = 0;
  NSKeyValueObservation observation;
  withObservationTracking(
      [&] {
        observation = observe(player, keyPath<&Player::volume>, Options::initial,
                              [&](const auto&) { static_cast<void>(player->isMuted.value()); });
      },
      [&] { ++changes; });
  player->volume = 1;
  player->isMuted = true;
  EXPECT_EQ(changes, 0);
}

TEST(NSKeyValueObservation, AllocatesNothingForAChange) {
  const auto player = std::make_shared<Player>();
  int calls = 0;
  std::vector<NSKeyValueObservation> observations;
  const auto count = [&](const auto&) { ++calls; };
  observations.push_back(observe(player, keyPath<&Player::volume>, Options::none, count));
  observations.push_back(observe(player, keyPath<&Player::volume>, Options::new_ | Options::old, count));
  observations.push_back(observe(player, keyPath<&Player::loudness>, Options::none, count));
  observations.push_back(observe(player, keyPath<&Player::loudness>, Options::new_, count));
  EXPECT_EQ(Tests::allocationsOf([&] {
              for (int volume = 1; volume <= 10; ++volume) player->volume = volume;
            }),
            0);
  EXPECT_EQ(calls, 40);
}

TEST(NSKeyValueObservation, FollowsManyRepeatedReads) {
  struct Many {
    std::vector<std::unique_ptr<Property<int>>> values;
    Property<bool> isBackwards = false;
    [[nodiscard]] int sum() const {
      int sum = 0;
      for (int round = 0; round < 3; ++round) {
        for (std::size_t i = 0; i < values.size(); ++i) {
          sum += *values[isBackwards ? values.size() - 1 - i : i];
        }
      }
      return sum;
    }
  };
  const auto many = std::make_shared<Many>();
  for (int i = 0; i < 1000; ++i) many->values.push_back(std::make_unique<Property<int>>(0));
  std::vector<int> sums;
  const auto observation =
      observe(many, keyPath<&Many::sum>, Options::new_, [&](const auto& change) { sums.push_back(*change.newValue); });
  *many->values[999] = 1;
  many->isBackwards = true;
  *many->values[0] = 1;
  many->isBackwards = false;
  *many->values[500] = 1;
  EXPECT_THAT(sums, ElementsAre(3, 3, 6, 6, 9));
}

// A function does not follow its own changes. It follows the changes of a handler that runs meanwhile.
TEST(NSKeyValueObservation, FunctionThatChangesItsReadsComesToRest) {
  struct Odd {
    mutable Property<int> readings = 0;
    Property<int> value = 0;
    mutable Property<int> setByAHandler = 0;
    [[nodiscard]] int total() const {
      const int total = value + setByAHandler;
      readings += 1;
      static_cast<void>(readings.value());
      return total;
    }
  };
  const auto odd = std::make_shared<Odd>();
  std::vector<int> totals;
  const auto observation = observe(odd, keyPath<&Odd::total>, Options::new_,
                                   [&](const auto& change) { totals.push_back(*change.newValue); });
  const auto other = observe(odd, keyPath<&Odd::readings>, Options::none, [&](const auto&) {
    if (odd->setByAHandler < 10) odd->setByAHandler = 10;
  });
  odd->value = 1;
  EXPECT_THAT(totals, ElementsAre(1, 11));
  odd->readings = 100;
  EXPECT_THAT(totals, ElementsAre(1, 11, 11));
}

TEST(NSKeyValueObservation, HandlerMayEndAndMakeObservations) {
  for (int ending = 0; ending < 4; ++ending) {
    const auto player = std::make_shared<Player>();
    std::vector<int> calls(4);
    int callsOfNew = 0;
    std::vector<NSKeyValueObservation> observations(4);
    std::vector<NSKeyValueObservation> made;
    for (int i = 0; i < 4; ++i) {
      observations[static_cast<std::size_t>(i)] =
          observe(player, keyPath<&Player::volume>, Options::none, [&, i](const auto&) {
            ++calls[static_cast<std::size_t>(i)];
            if (i != ending) return;
            for (auto& observation : observations) observation.invalidate();
            made.push_back(
                observe(player, keyPath<&Player::volume>, Options::none, [&](const auto&) { ++callsOfNew; }));
          });
    }
    player->volume = 1;
    const auto called = calls;
    EXPECT_EQ(called[static_cast<std::size_t>(ending)], 1);
    EXPECT_EQ(callsOfNew, 0) << "it was not there when the change came";
    player->volume = 2;
    EXPECT_EQ(calls, called);
    EXPECT_EQ(callsOfNew, 1);
  }
}

TEST(NSKeyValueObservation, ObjectDestroyedInAHandlerNotifiesNoOtherObserver) {
  auto player = std::make_shared<Player>();
  int changes = 0;
  std::vector<NSKeyValueObservation> observations;
  for (int i = 0; i < 5; ++i) {
    observations.push_back(
        observe(player, keyPath<&Player::volume>, i % 2 == 0 ? Options::none : Options::new_, [&](const auto&) {
          ++changes;
          player.reset();
        }));
  }
  Player* const address = player.get();
  address->volume = 1;
  EXPECT_EQ(changes, 1);
}

TEST(NSKeyValueObservation, EndsWhileAnotherHandlerWaits) {
  const auto player = std::make_shared<Player>();
  int changes = 0;
  std::vector<NSKeyValueObservation> observations(3);
  for (auto& observation : observations) {
    observation = observe(player, keyPath<&Player::volume>, Options::none, [&](const auto&) {
      ++changes;
      // Ends the two observers that are not called yet. No wait is necessary.
      std::thread([&] {
        for (auto& other : observations) {
          if (&other != &observation) other.invalidate();
        }
      }).join();
    });
  }
  player->volume = 1;
  EXPECT_EQ(changes, 1);
}

TEST(NSKeyValueObservation, ThrowingFunctionMakesNoObservation) {
  struct Failing {
    Property<int> value = 0;
    [[nodiscard]] int checked() const {
      if (value == 0) throw std::runtime_error("no");
      return value;
    }
  };
  const auto failing = std::make_shared<Failing>();
  auto witness = std::make_shared<int>();
  EXPECT_THROW(
      static_cast<void>(observe(failing, keyPath<&Failing::checked>, Options::none, [witness](const auto&) {})),
      std::runtime_error);
  EXPECT_EQ(witness.use_count(), 1);
  failing->value = 1;
}

TEST(NSKeyValueObservation, ThreadsMayObserveAndEndDuringChanges) {
  for (int round = 0; round < repetitions(100); ++round) {
    const auto counter = std::make_shared<Counter>();
    std::atomic<int> last = 0;
    const auto stays =
        observe(counter, keyPath<&Counter::value>, Options::new_, [&](const auto& change) { last = *change.newValue; });
    const auto comeAndGo = [&] {
      for (int i = 0; i < 20; ++i) {
        auto alive = std::make_unique<int>(1);
        auto observation = observe(counter, keyPath<&Counter::value>, Options::new_,
                                   [inside = alive.get()](const auto&) { ASSERT_EQ(*inside, 1); });
        observation.invalidate();
        alive.reset();
      }
    };
    const auto change = [&] {
      for (int i = 0; i < 40; ++i) counter->increment();
    };
    std::vector<std::thread> threads;
    threads.emplace_back(comeAndGo);
    threads.emplace_back(comeAndGo);
    threads.emplace_back(change);
    change();
    for (auto& thread : threads) thread.join();
    ASSERT_EQ(last, 80);
  }
}

// One thread changes the value, the other one the object that it is read from.
TEST(NSKeyValueObservation, FunctionWithVaryingReadsReportsTheLastValue) {
  struct Two {
    Counter choice;
    Counter even;
    Counter odd;
    [[nodiscard]] int value() const { return choice.value() % 2 == 0 ? even.value() : odd.value(); }
  };
  for (int round = 0; round < repetitions(100); ++round) {
    const auto two = std::make_shared<Two>();
    std::atomic<int> last = 0;
    const auto observation =
        observe(two, keyPath<&Two::value>, Options::new_, [&](const auto& change) { last = *change.newValue; });
    std::thread chooser([&] {
      for (int i = 0; i < 21; ++i) two->choice.increment();
    });
    std::thread other([&] {
      for (int i = 0; i < 30; ++i) two->odd.increment();
    });
    for (int i = 0; i < 10; ++i) two->even.increment();
    chooser.join();
    other.join();
    ASSERT_EQ(last, 30);
  }
}

TEST(NSKeyValueObservation, EndWaitsForACallOnAnotherThread) {
  for (int round = 0; round < repetitions(50); ++round) {
    const auto player = std::make_shared<Player>();
    std::atomic<bool> isInside = false;
    std::atomic<bool> mayLeave = false;
    std::atomic<bool> hasLeft = false;
    auto observation = observe(player, keyPath<&Player::volume>, Options::none, [&](const auto&) {
      isInside = true;
      isInside.notify_one();
      mayLeave.wait(false);
      hasLeft = true;
    });
    std::thread changer([&] { player->volume = 1; });
    isInside.wait(false);
    std::atomic<pid_t> thread = 0;
    bool hadLeft = false;
    std::thread ender([&] {
      thread = ::gettid();
      thread.notify_one();
      observation.invalidate();
      hadLeft = hasLeft;
    });
    thread.wait(0);
    Tests::waitUntilAsleep(thread);
    mayLeave = true;
    mayLeave.notify_one();
    changer.join();
    ender.join();
    ASSERT_TRUE(hadLeft);
  }
}

TEST(NSKeyValueObservation, ReportsTheLastValueOfManyThreads) {
  for (int round = 0; round < repetitions(200); ++round) {
    const auto counter = std::make_shared<Counter>();
    std::atomic<int> last = 0;
    std::atomic<int> calls = 0;
    const auto observation = observe(counter, keyPath<&Counter::value>, Options::new_, [&](const auto& change) {
      last = *change.newValue;
      ++calls;
    });
    const auto change = [&] {
      for (int i = 0; i < 50; ++i) counter->increment();
    };
    std::thread first(change);
    std::thread second(change);
    first.join();
    second.join();
    ASSERT_EQ(last, 100);
    ASSERT_LE(calls, 100);
  }
}

TEST(NSKeyValueObservation, ThreeThreadsMayChangeEndAndDestroyAtOnce) {
  for (int round = 0; round < repetitions(300); ++round) {
    auto counter = std::make_shared<Counter>();
    auto alive = std::make_unique<int>(1);
    auto observation = observe(counter, keyPath<&Counter::value>, Options::new_ | Options::initial,
                               [&, inside = alive.get()](const auto&) { ASSERT_EQ(*inside, 1); });
    std::thread changer([counter] { counter->increment(); });
    std::thread dropper([taken = std::move(counter)]() mutable { taken.reset(); });
    observation.invalidate();
    *alive = 0;
    alive.reset();
    changer.join();
    dropper.join();
  }
}

TEST(NSKeyValueObservation, SecondThreadCallsObserversThatAreFree) {
  const auto gauge = std::make_shared<Gauge>();
  int calls = 0;
  std::vector<int> order;
  const auto busy = observe(gauge, keyPath<&Gauge::level>, Options::none, [&](const auto&) {
    order.push_back(1);
    if (++calls > 1) return;
    std::thread([&] { gauge->level = 2; }).join();
    EXPECT_THAT(order, ElementsAre(1, 2)) << "the other thread has called the free observer";
  });
  const auto free = observe(gauge, keyPath<&Gauge::level>, Options::none, [&](const auto&) { order.push_back(2); });
  gauge->level = 1;
  // The busy observer is called once more, for the change during its call.
  EXPECT_THAT(order, ElementsAre(1, 2, 1, 2));
}

TEST(NSKeyValueObservation, StoredPropertyReportsTheLastValueOfSeveralThreads) {
  for (int round = 0; round < repetitions(200); ++round) {
    const auto gauge = std::make_shared<Gauge>();
    std::vector<std::atomic<int>> last(7);
    std::vector<NSKeyValueObservation> observations;
    for (auto& each : last) {
      observations.push_back(observe(gauge, keyPath<&Gauge::level>, Options::new_,
                                     [&](const auto& change) { each = change.newValue->number.load(); }));
    }
    std::atomic<int> next = 0;
    const auto change = [&] {
      for (int i = 0; i < 30; ++i) gauge->level = ++next;
    };
    std::thread first(change);
    std::thread second(change);
    change();
    first.join();
    second.join();
    const int value = gauge->level.value().number;
    for (const auto& each : last) ASSERT_EQ(each, value);
  }
}

TEST(NSKeyValueObservation, StoredPropertyMayBeObservedAndReleasedDuringChanges) {
  for (int round = 0; round < repetitions(100); ++round) {
    const auto gauge = std::make_shared<Gauge>();
    std::atomic<int> callsOfLasting = 0;
    const auto lasting = observe(gauge, keyPath<&Gauge::level>, Options::none, [&](const auto&) { ++callsOfLasting; });
    const auto comeAndGo = [&] {
      for (int i = 0; i < 40; ++i) {
        auto alive = std::make_unique<int>(1);
        std::optional<NSKeyValueObservation> made;
        auto observation =
            observe(gauge, keyPath<&Gauge::level>, i % 2 == 0 ? Options::none : Options::initial,
                    [&, inside = alive.get()](const auto&) {
                      ASSERT_EQ(*inside, 1);
                      if (!made)
                        made.emplace(observe(gauge, keyPath<&Gauge::level>, Options::none, [](const auto&) {}));
                    });
        std::this_thread::yield();
        observation.invalidate();
        *alive = 0;
      }
    };
    const auto change = [&] {
      for (int i = 0; i < 80; ++i) gauge->level = i;
    };
    std::vector<std::thread> threads;
    threads.emplace_back(comeAndGo);
    threads.emplace_back(comeAndGo);
    threads.emplace_back(change);
    change();
    for (auto& thread : threads) thread.join();
    ASSERT_GT(callsOfLasting, 0);
  }
}

TEST(NSKeyValueObservation, HandlersOnSeveralThreadsMayEndTheObservation) {
  for (int round = 0; round < repetitions(200); ++round) {
    auto gauge = std::make_shared<Gauge>();
    std::vector<std::atomic<int>> calls(6);
    std::vector<NSKeyValueObservation> observations(6);
    auto witness = std::make_shared<int>();
    for (std::size_t i = 0; i < observations.size(); ++i) {
      observations[i] = observe(gauge, keyPath<&Gauge::level>, Options::none, [&, i, witness](const auto&) {
        ++calls[i];
        observations[i].invalidate();
      });
    }
    const auto change = [gauge] {
      for (int i = 0; i < 5; ++i) gauge->level = i;
    };
    std::thread first(change);
    std::thread second(change);
    gauge.reset();
    first.join();
    second.join();
    for (const auto& each : calls) ASSERT_EQ(each, 1);
    ASSERT_EQ(witness.use_count(), 1);
  }
}

TEST(NSKeyValueObservationDeathTest, ThrowingHandlerStopsTheProcess) {
  EXPECT_EXIT(
      {
        const auto player = std::make_shared<Player>();
        const auto observation = observe(player, keyPath<&Player::volume>, Options::none, [](const auto&) { throw 1; });
        player->volume = 1;
      },
      KilledBySignal(SIGABRT),
      "Tessaly/Notification:[0-9]+: Fatal error: The handler of a property's observation has thrown\n");
}

TEST(NSKeyValueObservationDeathTest, NullObjectStopsTheProcess) {
  const auto ignore = [](const auto&) {};
  constexpr auto report = "^Tessaly/NSKeyValueObservation:[0-9]+: Fatal error: The object to observe is null\n$";
  const std::shared_ptr<Player> none;
  EXPECT_DEATH(static_cast<void>(observe(none, keyPath<&Player::volume>, Options::none, ignore)), report);
  EXPECT_DEATH(static_cast<void>(observe(none, keyPath<&Player::loudness>, Options::none, ignore)), report);
}

}  // namespace
}  // namespace Tessaly
