// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tessaly/Core/Observation/ObservationRegistrar.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Platform/Testing/SeededScheduler.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/SlowCounter.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::KilledBySignal;
using Tests::incrementThrice;
using Tests::repetitions;
using Tests::SlowCounter;
using Volume = std::optional<int>;

struct Player {
  Property<std::optional<int>> volume = 1;
  Property<int> position = 0;
};

class Counter {
 public:
  int value() const {
    registrar_.access(*this, keyPath<&Counter::value>);
    return value_.load();
  }
  void increment() {
    registrar_.withMutation(*this, keyPath<&Counter::value>, [&] { value_.fetch_add(1); });
  }
  template <typename Body>
  void incrementAfter(Body body) {
    registrar_.withMutation(*this, keyPath<&Counter::value>, [&] {
      body();
      value_.fetch_add(1);
    });
  }

 private:
  std::atomic<int> value_ = 0;
  ObservationRegistrar registrar_;
};

/// The calls with their arguments. A "!" follows those of the first pass.
class Calls {
 public:
  auto onChange() {
    return [this](int value) { add("change " + std::to_string(value)); };
  }
  auto onChangeNil() {
    return [this](const Volume& value) { add(value ? "either " + std::to_string(*value) : "nothing"); };
  }
  std::vector<std::string> take() { return std::exchange(calls_, {}); }

 private:
  void add(std::string call) { calls_.push_back(call + (ObservationToken::isFirst() ? "!" : "")); }
  std::vector<std::string> calls_;
};

auto volumeOf(const std::shared_ptr<Player>& player) {
  return [player] { return player->volume.value(); };
}

static_assert(!std::is_copy_constructible_v<ObservationToken> && !std::is_copy_assignable_v<ObservationToken>);
static_assert(std::is_nothrow_move_constructible_v<ObservationToken>);
static_assert(std::is_nothrow_move_assignable_v<ObservationToken>);

TEST(ObservationToken, DeliversAtOnceAndAfterEachChange) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  Calls calls;
  const auto token = withContinuousObservation(Isolation(), volumeOf(player), calls.onChange(), calls.onChangeNil());
  EXPECT_THAT(calls.take(), ElementsAre("change 1!", "either 1!"));
  player->volume = 2;
  EXPECT_THAT(calls.take(), IsEmpty());
  scheduler.runUntilIdle();
  EXPECT_THAT(calls.take(), ElementsAre("change 2", "either 2"));
  player->volume = 3;
  scheduler.runUntilIdle();
  EXPECT_THAT(calls.take(), ElementsAre("change 3", "either 3"));
}

TEST(ObservationToken, OnlyTheSecondCallbackReceivesAbsentValues) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  player->volume = std::nullopt;
  Calls calls;
  const auto token = withContinuousObservation(Isolation(), volumeOf(player), calls.onChange(), calls.onChangeNil());
  EXPECT_THAT(calls.take(), ElementsAre("nothing!"));
  player->volume = 5;
  scheduler.runUntilIdle();
  EXPECT_THAT(calls.take(), ElementsAre("change 5", "either 5"));
  player->volume = std::nullopt;
  scheduler.runUntilIdle();
  EXPECT_THAT(calls.take(), ElementsAre("nothing"));
}

TEST(ObservationToken, SeveralChangesBetweenPassesCauseOnePass) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  Calls calls;
  const auto token = withContinuousObservation(Isolation(), volumeOf(player), calls.onChange());
  calls.take();
  player->volume = 2;
  player->volume = 3;
  player->position = 9;
  EXPECT_EQ(scheduler.runUntilIdle(), 1U);
  EXPECT_THAT(calls.take(), ElementsAre("change 3"));
  player->position = 10;
  EXPECT_EQ(scheduler.runUntilIdle(), 0U);
}

TEST(ObservationToken, PlainValueCountsAsPresent) {
  const auto player = std::make_shared<Player>();
  std::vector<int> seen;
  const auto token = withContinuousObservation([player] { return player->position.value(); },
                                               [&](int position) { seen.push_back(position); });
  EXPECT_THAT(seen, ElementsAre(0));
}

TEST(ObservationToken, CancelOrDestructionEndsTheObservation) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  auto witness = std::make_shared<int>();
  Calls calls;
  const auto observe = [&] {
    return withContinuousObservation(
        Isolation(), [player, witness] { return player->volume.value(); }, calls.onChange(), calls.onChangeNil());
  };
  std::optional<ObservationToken> token = observe();
  calls.take();
  token->cancel();
  token->cancel();
  player->volume = 2;
  scheduler.runUntilIdle();
  EXPECT_THAT(calls.take(), IsEmpty());
  EXPECT_EQ(witness.use_count(), 1);
  player->volume = 3;
  EXPECT_EQ(scheduler.runUntilIdle(), 0U);
  token.reset();

  token = observe();
  calls.take();
  token.reset();
  player->volume = 4;
  scheduler.runUntilIdle();
  EXPECT_THAT(calls.take(), IsEmpty());
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(ObservationToken, AssignmentEndsTheFormerObservation) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  const auto other = std::make_shared<Player>();
  Calls calls;
  Calls others;
  auto token = withContinuousObservation(Isolation(), volumeOf(player), calls.onChange());
  token = withContinuousObservation(Isolation(), volumeOf(other), others.onChange());
  calls.take();
  others.take();
  player->volume = 2;
  other->volume = 3;
  scheduler.runUntilIdle();
  EXPECT_THAT(calls.take(), IsEmpty());
  EXPECT_THAT(others.take(), ElementsAre("change 3"));
}

TEST(ObservationToken, ArrayOwnsAStoredToken) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  Calls calls;
  std::vector<ObservationToken> tokens;
  withContinuousObservation(Isolation(), volumeOf(player), calls.onChange()).store(tokens);
  auto second = withContinuousObservation(Isolation(), volumeOf(player), calls.onChange());
  std::move(second).store(tokens);
  EXPECT_EQ(tokens.size(), 2U);
  calls.take();
  player->volume = 2;
  scheduler.runUntilIdle();
  EXPECT_THAT(calls.take(), ElementsAre("change 2", "change 2"));
  tokens.clear();
  player->volume = 3;
  scheduler.runUntilIdle();
  EXPECT_THAT(calls.take(), IsEmpty());
}

TEST(ObservationToken, IsFirstIsBoundInTheCallbacksOnly) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  std::vector<bool> inApply;
  std::vector<bool> inTheTask;
  EXPECT_FALSE(ObservationToken::isFirst());
  std::optional<ObservationToken> token;
  // A task that the first pass starts inherits the binding. A change by that task must not pass it to the next pass.
  token = withContinuousObservation(
      Isolation(),
      [&] {
        inApply.push_back(ObservationToken::isFirst());
        return player->volume.value();
      },
      [&](int value) {
        if (value == 1) {
          const Task<> task({.isolation = Isolation()}, [&] {
            inTheTask.push_back(ObservationToken::isFirst());
            player->volume = 2;
          });
        } else {
          EXPECT_FALSE(ObservationToken::isFirst());
        }
      });
  scheduler.runUntilIdle();
  EXPECT_THAT(
      inApply,
      ElementsAre(false, true));  // `apply` has the binding of the changing code. Only the callbacks get their own.
  EXPECT_THAT(inTheTask, ElementsAre(true));
  EXPECT_FALSE(ObservationToken::isFirst());
  EXPECT_TRUE(ObservationToken::isFirstBinding.withValue(true, [] { return ObservationToken::isFirst(); }));
}

TEST(ObservationToken, LaterPassesHaveHighPriorityAndTheGivenIsolation) {
  const auto player = std::make_shared<Player>();
  const Isolation own = Isolation::serial();
  std::vector<Isolation> isolations;
  std::optional<TaskPriority> priority;
  const auto token = withContinuousObservation(own, volumeOf(player), [&](int) {
    isolations.push_back(Isolation::current());
    priority = Task<>::currentPriority();
  });
  const auto inOwn = [&](auto body) { syncWait([&] { return Task<>({.isolation = own}, body).finished(); }); };
  inOwn([&] { player->volume = 2; });
  for (std::size_t passes = 1; passes < 2;) inOwn([&] { passes = isolations.size(); });
  EXPECT_THAT(isolations, ElementsAre(Isolation::main(), own));
  EXPECT_EQ(priority, TaskPriority::high);
}

TEST(ObservationToken, LaterPassesInheritTheCallersIsolation) {
  const auto player = std::make_shared<Player>();
  std::vector<bool> isMain;
  const auto token =
      withContinuousObservation(volumeOf(player), [&](int) { isMain.push_back(MainQueue::isMainThread()); });
  std::thread([&] { player->volume = 2; }).join();
  EXPECT_EQ(isMain.size(), 1U);
  while (isMain.size() < 2) MainQueue::drain();
  EXPECT_THAT(isMain, ElementsAre(true, true));
}

TEST(ObservationToken, MayBeDestroyedAtEveryStepOfAPass) {
  enum class Step { apply, change, either, afterTheChange, beforeThePass };
  auto& scheduler = SeededScheduler::install();
  for (const Step dropped : {Step::apply, Step::change, Step::either, Step::afterTheChange, Step::beforeThePass}) {
    for (const int inPass : {2, 3}) {
      const auto player = std::make_shared<Player>();
      auto witness = std::make_shared<int>();
      std::optional<ObservationToken> token;
      int passes = 0;
      int changes = 0;
      int eithers = 0;
      const auto dropAt = [&](Step step) {
        if (passes == inPass && step == dropped) token.reset();
      };
      token = withContinuousObservation(
          Isolation(),
          [&, player, witness] {
            ++passes;
            dropAt(Step::apply);
            return player->volume.value();
          },
          [&](int) {
            ++changes;
            dropAt(Step::change);
          },
          [&](const Volume&) {
            ++eithers;
            dropAt(Step::either);
          });
      for (int value = 2; value < 6; ++value) {
        player->volume = value;
        dropAt(Step::afterTheChange);
        scheduler.runUntilIdle();
        dropAt(Step::beforeThePass);
      }
      // A pass that has begun ends normally, and no further pass begins.
      EXPECT_EQ(passes, inPass);
      EXPECT_EQ(changes, inPass);
      EXPECT_EQ(eithers, inPass);
      EXPECT_EQ(witness.use_count(), 1);
    }
  }
}

TEST(ObservationToken, LaterPassMayCancelTheObservation) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  std::optional<ObservationToken> token;
  int passes = 0;
  token = withContinuousObservation(Isolation(), volumeOf(player), [&](int value) {
    ++passes;
    if (value == 2) token->cancel();
  });
  player->volume = 2;
  scheduler.runUntilIdle();
  player->volume = 3;
  scheduler.runUntilIdle();
  EXPECT_EQ(passes, 2);
}

TEST(ObservationToken, FollowsAChangeThatItsOwnCallbackMakes) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  std::vector<int> seen;
  const auto token = withContinuousObservation(Isolation(), volumeOf(player), [&](int value) {
    seen.push_back(value);
    if (value < 4) player->volume = value + 1;
  });
  scheduler.runUntilIdle();
  EXPECT_THAT(seen, ElementsAre(1, 2, 3, 4));
}

TEST(ObservationToken, EndOfTheObservedObjectCausesOnePass) {
  auto& scheduler = SeededScheduler::install();
  auto player = std::make_shared<Player>();
  Calls calls;
  const auto token = withContinuousObservation(
      Isolation(),
      [weak = std::weak_ptr(player)] {
        const auto player = weak.lock();
        return player != nullptr ? player->volume.value() : std::nullopt;
      },
      calls.onChange(), calls.onChangeNil());
  calls.take();
  player.reset();
  scheduler.runUntilIdle();
  EXPECT_THAT(calls.take(), ElementsAre("nothing"));
}

TEST(ObservationToken, PassWithoutReadsReleasesTheCaptures) {
  auto witness = std::make_shared<int>();
  {
    const auto token = withContinuousObservation([witness] { return 1; }, [](int) {});
    EXPECT_EQ(witness.use_count(), 1);
  }
}

TEST(ObservationToken, CancelReleasesTheCapturesAtOnce) {
  auto player = std::make_shared<Player>();
  const std::weak_ptr<Player> weak = player;
  {
    const auto token = withContinuousObservation(volumeOf(player), [](int) {});
    player.reset();
    EXPECT_FALSE(weak.expired()) << "the evaluation holds it";
  }
  EXPECT_TRUE(weak.expired());
}

TEST(ObservationToken, ThrowingFirstPassMakesNoToken) {
  const auto player = std::make_shared<Player>();
  auto witness = std::make_shared<int>();
  EXPECT_THROW(
      {
        const auto token = withContinuousObservation(
            [player, witness]() -> int {
              static_cast<void>(player->position.value());
              throw std::runtime_error("no");
            },
            [](int) {});
      },
      std::runtime_error);
  EXPECT_EQ(witness.use_count(), 1);
}

// A change starts a pass on another thread, which reads before the new value is stored.
TEST(ObservationToken, ChangeIsNotLostIfAPassReadsEarly) {
  for (int round = 0; round < repetitions(50); ++round) {
    const auto counter = std::make_shared<Counter>();
    std::atomic<int> passes = 0;
    std::atomic<int> last = -1;
    const auto token = withContinuousObservation(
        Isolation(), [counter] { return counter->value(); },
        [&](int value) {
          last = value;
          ++passes;
          passes.notify_all();
        });
    counter->incrementAfter([&] {
      passes.wait(1);  // The second pass has read the old value.
      EXPECT_EQ(last, 0);
    });
    passes.wait(2);
    ASSERT_EQ(last, 1);
  }
}

TEST(ObservationToken, LastValueArrivesInEveryOrderOfSteps) {
  auto& scheduler = SeededScheduler::install();
  for (int seed = 0; seed < repetitions(2'000); ++seed) {
    scheduler.reseed(static_cast<std::uint64_t>(seed));
    const auto player = std::make_shared<Player>();
    std::vector<int> seen;
    const auto token = withContinuousObservation(
        Isolation::serial(), [player] { return player->position.value(); },
        [&](int position) { seen.push_back(position); });
    std::array<std::optional<Task<>>, 2> changers;
    for (auto& changer : changers) {
      changer = Task<>::detached([&]() -> Async<void> {
        for (int i = 0; i < 3; ++i) {
          player->position += 1;
          co_await Task<>::yield();
        }
      });
    }
    scheduler.runUntilIdle();
    ASSERT_EQ(seen.back(), 6);
    ASSERT_LE(seen.size(), 7U);
  }
}

// Both races in every order: a change between the read and the registration, and a read before the store.
TEST(ObservationToken, LastValueArrivesDespiteReadsDuringChanges) {
  auto& scheduler = SeededScheduler::install();
  for (int seed = 0; seed < repetitions(2'000); ++seed) {
    scheduler.reseed(static_cast<std::uint64_t>(seed));
    const auto counter = std::make_shared<SlowCounter>();
    int last = -1;
    int passes = 0;
    const auto token = withContinuousObservation(
        Isolation(), [counter] { return counter->value(); },
        [&](int value) {
          last = value;
          ++passes;
        });
    const Task<> first = Task<>::detached([&] { return incrementThrice(counter); });
    const Task<> second = Task<>::detached([&] { return incrementThrice(counter); });
    scheduler.runUntilIdle();
    ASSERT_TRUE(first.isFinished() && second.isFinished());
    ASSERT_EQ(last, 6) << seed;
    ASSERT_LE(passes, 13) << "at most one before and one after each change";
  }
}

TEST(ObservationToken, EndOfANestedObservationEndsOnlyItself) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  std::vector<ObservationToken> inner;
  int outerPasses = 0;
  int innerPasses = 0;
  const auto outer = withContinuousObservation(
      Isolation(),
      [&] {
        inner.clear();
        withContinuousObservation(
            Isolation(), [player] { return player->position.value(); }, [&](int) { ++innerPasses; })
            .store(inner);
        return player->volume.value();
      },
      [&](int) { ++outerPasses; });
  EXPECT_EQ(outerPasses, 1);
  EXPECT_EQ(innerPasses, 1);
  player->volume = 2;
  scheduler.runUntilIdle();
  EXPECT_EQ(outerPasses, 2);
  EXPECT_EQ(innerPasses, 2);
  // The reads of the inner observation's first pass count for the outer one, too.
  player->position = 1;
  scheduler.runUntilIdle();
  EXPECT_EQ(outerPasses, 3);
  EXPECT_GE(innerPasses, 3);
  const int before = innerPasses;
  inner.clear();
  player->position = 2;
  scheduler.runUntilIdle();
  EXPECT_EQ(outerPasses, 4);
  EXPECT_EQ(innerPasses, before + 1) << "the outer one has made it anew";
}

TEST(ObservationToken, DeliversTheLastValueWhileThreadsChangeIt) {
  for (int round = 0; round < repetitions(100); ++round) {
    const auto counter = std::make_shared<Counter>();
    std::atomic<int> last = 0;
    auto token = std::make_optional(withContinuousObservation(
        Isolation::serial(), [counter] { return counter->value(); },
        [&](int value) {
          last = value;
          last.notify_all();
        }));
    std::vector<std::thread> writers;
    for (int i = 0; i < 2; ++i) {
      writers.emplace_back([&] {
        for (int n = 0; n < 50; ++n) counter->increment();
      });
    }
    for (auto& writer : writers) writer.join();
    for (int value = last; value != 100; value = last) last.wait(value);
    token.reset();
    // One more change would cause a pass if the observation had not ended.
    counter->increment();
    syncWait([&]() -> Async<void> { co_await Task<>::yield(); });
  }
}

TEST(ObservationTokenDeathTest, UseAfterAMoveStopsTheProcess) {
  constexpr auto message =
      "Tessaly/ObservationToken:[0-9]+: Fatal error: An observation token was used after it had been moved from\n";
  auto token = withContinuousObservation([] { return 1; }, [](int) {});
  const auto taken = std::move(token);
  EXPECT_EXIT(token.cancel(), KilledBySignal(SIGABRT), message);  // NOLINT(bugprone-use-after-move)
  std::vector<ObservationToken> tokens;
  EXPECT_EXIT(std::move(token).store(tokens), KilledBySignal(SIGABRT), message);
}

TEST(ObservationTokenDeathTest, ThrowingCallbackStopsTheProcess) {
  EXPECT_EXIT(
      { const auto token = withContinuousObservation([] { return 1; }, [](int) { throw std::runtime_error("no"); }); },
      KilledBySignal(SIGABRT),
      "Tessaly/Notification:[0-9]+: Fatal error: The callback of a continuous observation has thrown\n");
}

}  // namespace
}  // namespace Tessaly
