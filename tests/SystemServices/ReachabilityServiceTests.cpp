// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Observation/ObservationTracking.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "Tessaly/Platform/Testing/ScriptedNetwork.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"
#include "Tessaly/SystemServices/detail/ReachabilityMonitors.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/SystemCalls.hpp"

namespace Tessaly {

void PrintTo(const ReachabilityService::Status& status, std::ostream* stream) {
  *stream << (status.isOnline ? "online" : "offline") << (status.isExpensive ? ", expensive" : "");
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using PathStatus = NWPath::Status;
using ReachabilityService::Status;
using BoolDefault = Default<bool>;

constexpr const char* settingName = "can-connect-to-host";

class ReachabilityServiceTest : public testing::Test {
 protected:
  static void drain() {
    while (MainQueue::drain() > 0) {
    }
  }
  static void setCanConnect(bool canConnect) { BoolDefault::setValue(BoolDefault::Key::canConnectToHost, canConnect); }
  void setExpensive(PathStatus status, bool isExpensive) {
    network->setPath(NWPath({.status = status, .isExpensive = isExpensive}));
  }

  /// A wait on this thread, the main thread, and its outcome.
  struct Wait {
    enum class End { none, online, cancelled, error };

    Task<> task;
    std::shared_ptr<End> end;
  };
  static Wait startWait() {
    auto end = std::make_shared<Wait::End>(Wait::End::none);
    Task<> task([end]() -> Async<void> {
      try {
        co_await ReachabilityService::nextIsOnline();
        *end = Wait::End::online;
      } catch (const CancellationError&) {
        *end = Wait::End::cancelled;
      } catch (...) {
        *end = Wait::End::error;
      }
    });
    return {std::move(task), std::move(end)};
  }
  using End = Wait::End;

  const std::shared_ptr<InMemoryUserDefaults> settings = InMemoryUserDefaults::make();
  const UserDefaultsInstallation settingsInstallation{settings};
  const std::shared_ptr<ScriptedNetwork> network = std::make_shared<ScriptedNetwork>(PathStatus::satisfied);
  const NetworkBackendInstallation networkInstallation{network};
};

// The tests below concern the setting.

TEST(ReachabilitySetting, IsAMemberOfTheKeysOfBooleanSettings) {
  EXPECT_EQ(BoolDefault::Key::canConnectToHost.name(), "can-connect-to-host");
  EXPECT_TRUE(BoolDefault::Key::canConnectToHost.defaultValue());
}

TEST(ReachabilityStatus, IsEqualMemberByMember) {
  EXPECT_EQ((Status{.isOnline = true, .isExpensive = false}), (Status{.isOnline = true, .isExpensive = false}));
  EXPECT_NE((Status{.isOnline = true, .isExpensive = false}), (Status{.isOnline = false, .isExpensive = false}));
  EXPECT_NE((Status{.isOnline = true, .isExpensive = false}), (Status{.isOnline = true, .isExpensive = true}));
}

// The tests below concern the status that results from path and setting.

TEST_F(ReachabilityServiceTest, EachStatusOfThePathGivesOneResult) {
  const auto verdict = [&](PathStatus status) {
    network->setStatus(status);
    return ReachabilityService::isOnline();
  };
  EXPECT_TRUE(verdict(PathStatus::satisfied));
  EXPECT_FALSE(verdict(PathStatus::unsatisfied));
  EXPECT_FALSE(verdict(PathStatus::requiresConnection));
  EXPECT_TRUE(verdict(PathStatus::unknown));
  EXPECT_TRUE(verdict(static_cast<PathStatus>(200)));
}

TEST_F(ReachabilityServiceTest, NetworkThatIsInstalledLaterIsJudged) {
  EXPECT_TRUE(ReachabilityService::isOnline());
  EXPECT_TRUE(ReachabilityService::observableIsOnline());
  {
    const auto other =
        std::make_shared<ScriptedNetwork>(NWPath({.status = PathStatus::unsatisfied, .isExpensive = true}));
    const NetworkBackendInstallation installation(other);
    EXPECT_FALSE(ReachabilityService::isOnline());
    EXPECT_TRUE(ReachabilityService::isExpensive());
    EXPECT_FALSE(ReachabilityService::observableIsOnline());
    EXPECT_TRUE(ReachabilityService::observedIsExpensive());
    EXPECT_FALSE(ReachabilityService::isOnline());
    EXPECT_EQ(other->monitors(), 2);
  }
  EXPECT_TRUE(ReachabilityService::isOnline());
  EXPECT_TRUE(ReachabilityService::observableIsOnline());
  EXPECT_EQ(network->monitors(), 2);
}

TEST_F(ReachabilityServiceTest, SettingsThatAreInstalledLaterAreAsked) {
  EXPECT_TRUE(ReachabilityService::isOnline());
  EXPECT_TRUE(ReachabilityService::observableIsOnline());
  const auto other = InMemoryUserDefaults::make();
  other->set(false, settingName);
  const UserDefaultsInstallation installation(other);
  EXPECT_FALSE(ReachabilityService::isOnline());
  EXPECT_FALSE(ReachabilityService::observableIsOnline());
}

TEST_F(ReachabilityServiceTest, SettingForcesOfflineOnAnyPath) {
  setCanConnect(false);
  for (const auto status : {PathStatus::satisfied, PathStatus::unsatisfied, PathStatus::requiresConnection,
                            PathStatus::unknown, static_cast<PathStatus>(200)}) {
    network->setStatus(status);
    EXPECT_FALSE(ReachabilityService::isOnline());
  }
}

TEST_F(ReachabilityServiceTest, TrueSettingFollowsThePath) {
  setCanConnect(true);
  EXPECT_TRUE(ReachabilityService::isOnline());
  network->setStatus(PathStatus::unsatisfied);
  EXPECT_FALSE(ReachabilityService::isOnline());
}

TEST_F(ReachabilityServiceTest, RemovedOrMalformedSettingCountsAsTrue) {
  setCanConnect(false);
  EXPECT_FALSE(ReachabilityService::isOnline());
  settings->removeObject(settingName);
  EXPECT_TRUE(ReachabilityService::isOnline());
  setCanConnect(false);
  settings->set(PropertyList("no"), settingName);
  EXPECT_TRUE(ReachabilityService::isOnline());
  settings->set(PropertyList(PropertyList::Dictionary()), settingName);
  EXPECT_TRUE(ReachabilityService::isOnline());
}

TEST_F(ReachabilityServiceTest, NumbersZeroAndOneAreBooleans) {
  settings->set(PropertyList(0), settingName);
  EXPECT_FALSE(ReachabilityService::isOnline());
  settings->set(PropertyList(1), settingName);
  EXPECT_TRUE(ReachabilityService::isOnline());
}

TEST_F(ReachabilityServiceTest, EachStoreIsReadIndependently) {
  const auto forbidding = InMemoryUserDefaults::make();
  forbidding->set(false, settingName);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(ReachabilityService::isOnline());
    const UserDefaultsInstallation other(forbidding);
    EXPECT_FALSE(ReachabilityService::isOnline());
  }
}

TEST_F(ReachabilityServiceTest, ReturnedStoreOfAnotherThreadIsSeen) {
  std::atomic<int> stored{0};
  std::thread writer([&] {
    for (int i = 1; i <= Tests::repetitions(500); ++i) {
      setCanConnect(i % 2 == 0);
      settings->set(i, "unrelated");
      stored = i;
      while (stored == i) std::this_thread::yield();
    }
  });
  for (int i = 1; i <= Tests::repetitions(500); ++i) {
    while (stored != i) {
      static_cast<void>(ReachabilityService::isOnline());
      std::this_thread::yield();
    }
    EXPECT_EQ(ReachabilityService::isOnline(), i % 2 == 0);
    stored = 0;
  }
  writer.join();
}

/// A store without a count of its changes, like a host's own store.
class UncountedUserDefaults final : public UserDefaults {
 public:
  bool canConnect = true;

  [[nodiscard]] std::optional<PropertyList> value(std::string_view) const override { return canConnect; }
  void set(PropertyList, std::string_view) override {}
  void removeObject(std::string_view) override {}
  [[nodiscard]] PropertyList::Dictionary dictionaryRepresentation() const override { return {}; }
  void addObserver(const std::shared_ptr<KeyValueObserver>&, std::string_view, KeyValueObservingOptions,
                   void*) override {}
  void removeObserver(const KeyValueObserver&, std::string_view) override {}
  void addObserverOfEveryKey(const std::shared_ptr<KeyValueObserver>&, KeyValueObservingOptions, void*) override {}
  void removeObserverOfEveryKey(const KeyValueObserver&) override {}
  bool synchronize() override { return true; }
  [[nodiscard]] UserDefaultsStatus status() const override { return {}; }
};

TEST_F(ReachabilityServiceTest, StoreWithoutAChangeCountIsReadEachTime) {
  const auto store = std::make_shared<UncountedUserDefaults>();
  const UserDefaultsInstallation installation(store);
  for (const bool canConnect : {true, false, true}) {
    store->canConnect = canConnect;
    EXPECT_EQ(ReachabilityService::isOnline(), canConnect);
  }
}

TEST_F(ReachabilityServiceTest, ExpenseFollowsOnlyThePath) {
  setCanConnect(false);
  EXPECT_FALSE(ReachabilityService::isExpensive());
  setExpensive(PathStatus::satisfied, true);
  EXPECT_TRUE(ReachabilityService::isExpensive());
  EXPECT_FALSE(ReachabilityService::isOnline());
  setExpensive(PathStatus::unsatisfied, true);
  EXPECT_TRUE(ReachabilityService::isExpensive());
}

// The tests below concern the instant reads.

TEST_F(ReachabilityServiceTest, InstantReadsShareOneMonitor) {
  EXPECT_EQ(network->monitors(), 0);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      EXPECT_TRUE(ReachabilityService::isOnline());
      EXPECT_FALSE(ReachabilityService::isExpensive());
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(network->monitors(), 1);
}

TEST_F(ReachabilityServiceTest, InstantReadsNeedNoQueue) {
  EXPECT_TRUE(ReachabilityService::isOnline());
  network->setStatus(PathStatus::unsatisfied);
  EXPECT_FALSE(ReachabilityService::isOnline());
}

#if !__has_feature(thread_sanitizer)  // Its runtime makes system calls of its own.
TEST_F(ReachabilityServiceTest, LaterInstantReadsMakeNoSystemCall) {
  setCanConnect(true);
  EXPECT_EQ(Tests::systemCallsOf([] {
              static_cast<void>(ReachabilityService::isOnline());
              static_cast<void>(ReachabilityService::isExpensive());
            }),
            Tests::SystemCalls::none);
}
#endif

TEST_F(ReachabilityServiceTest, InstantReadsAreNotObserved) {
  bool isTold = false;
  withObservationTracking([] { static_cast<void>(ReachabilityService::isOnline()); }, [&] { isTold = true; });
  network->setStatus(PathStatus::unsatisfied);
  setCanConnect(false);
  drain();
  EXPECT_FALSE(isTold);
}

// The tests below concern the observable reads.

TEST_F(ReachabilityServiceTest, ObservableReadsShareOneMonitor) {
  EXPECT_TRUE(ReachabilityService::observableIsOnline());
  EXPECT_FALSE(ReachabilityService::observedIsExpensive());
  EXPECT_EQ(network->monitors(), 1);
  EXPECT_TRUE(ReachabilityService::isOnline());
  EXPECT_EQ(network->monitors(), 2);
}

TEST_F(ReachabilityServiceTest, FirstObservableReadIsCorrect) {
  setExpensive(PathStatus::unsatisfied, true);
  EXPECT_FALSE(ReachabilityService::observableIsOnline());
  EXPECT_TRUE(ReachabilityService::observedIsExpensive());
}

TEST_F(ReachabilityServiceTest, ObservableReadsFollowThePathOnTheMainQueue) {
  EXPECT_TRUE(ReachabilityService::observableIsOnline());
  setExpensive(PathStatus::unsatisfied, true);
  EXPECT_TRUE(ReachabilityService::observableIsOnline());
  EXPECT_FALSE(ReachabilityService::observedIsExpensive());
  drain();
  EXPECT_FALSE(ReachabilityService::observableIsOnline());
  EXPECT_TRUE(ReachabilityService::observedIsExpensive());
}

TEST_F(ReachabilityServiceTest, ObserverIsNotifiedOfAChange) {
  int told = 0;
  const auto track = [&] {
    return withObservationTracking([] { return ReachabilityService::observableIsOnline(); }, [&] { ++told; });
  };
  EXPECT_TRUE(track());
  drain();
  EXPECT_EQ(told, 0);
  network->setStatus(PathStatus::unsatisfied);
  drain();
  EXPECT_EQ(told, 1);
  EXPECT_FALSE(track());
  network->setStatus(PathStatus::unknown);
  drain();
  EXPECT_EQ(told, 2);
}

TEST_F(ReachabilityServiceTest, ObserversOfStatusAndExpenseAreIndependent) {
  int online = 0;
  int expensive = 0;
  withObservationTracking([] { static_cast<void>(ReachabilityService::observableIsOnline()); }, [&] { ++online; });
  withObservationTracking([] { static_cast<void>(ReachabilityService::observedIsExpensive()); }, [&] { ++expensive; });
  setExpensive(PathStatus::satisfied, true);
  drain();
  EXPECT_EQ(online, 0);
  EXPECT_EQ(expensive, 1);
  network->setStatus(PathStatus::unsatisfied);
  drain();
  EXPECT_EQ(online, 1);
}

TEST_F(ReachabilityServiceTest, EqualStatusIsNotAnnounced) {
  int told = 0;
  withObservationTracking(
      [] {
        static_cast<void>(ReachabilityService::observableIsOnline());
        static_cast<void>(ReachabilityService::observedIsExpensive());
      },
      [&] { ++told; });
  network->setStatus(PathStatus::satisfied);
  network->setStatus(PathStatus::unknown);
  setCanConnect(true);
  settings->removeObject(settingName);
  drain();
  EXPECT_EQ(told, 0);
}

TEST_F(ReachabilityServiceTest, MainThreadSettingChangesTheObservableStatusAtOnce) {
  int told = 0;
  withObservationTracking([] { static_cast<void>(ReachabilityService::observableIsOnline()); }, [&] { ++told; });
  setCanConnect(false);
  EXPECT_EQ(told, 1);
  EXPECT_FALSE(ReachabilityService::observableIsOnline());
  setCanConnect(true);
  EXPECT_TRUE(ReachabilityService::observableIsOnline());
}

TEST_F(ReachabilityServiceTest, ObservableStatusFollowsTheRemovalOfTheSetting) {
  setCanConnect(false);
  EXPECT_FALSE(ReachabilityService::observableIsOnline());
  settings->removeObject(settingName);
  EXPECT_TRUE(ReachabilityService::observableIsOnline());
}

TEST_F(ReachabilityServiceTest, OtherThreadsSettingArrivesOnTheMainQueue) {
  std::optional<bool> toldOnMain;
  withObservationTracking([] { static_cast<void>(ReachabilityService::observableIsOnline()); },
                          [&] { toldOnMain = MainQueue::isMainThread(); });
  for (const bool canConnect : {false, true, false}) {
    std::thread([=] { setCanConnect(canConnect); }).join();
    EXPECT_NE(ReachabilityService::observableIsOnline(), canConnect);
    drain();
    EXPECT_EQ(ReachabilityService::observableIsOnline(), canConnect);
  }
  EXPECT_EQ(toldOnMain, true);
}

TEST_F(ReachabilityServiceTest, ConcurrentChangesEndWithTheRightStatus) {
  static_cast<void>(ReachabilityService::observableIsOnline());
  for (int i = 0; i < Tests::repetitions(200); ++i) {
    const bool ends = i % 2 == 0;
    std::thread writer([&] {
      setCanConnect(!ends);
      setCanConnect(ends);
    });
    network->setStatus(i % 3 == 0 ? PathStatus::unsatisfied : PathStatus::satisfied);
    drain();
    writer.join();
    drain();
    ASSERT_EQ(ReachabilityService::observableIsOnline(), ends && i % 3 != 0) << i;
  }
}

TEST_F(ReachabilityServiceTest, ReleasedWrapperCancelsItsMonitor) {
  auto wrapper = ReachabilityService::detail::MonitorWrapper::make();
  drain();
  const std::weak_ptr<ReachabilityService::detail::MonitorWrapper> weak = wrapper;
  network->setStatus(PathStatus::unsatisfied);
  setCanConnect(false);
  wrapper.reset();
  EXPECT_TRUE(weak.expired());
  drain();
  setCanConnect(true);
}

TEST_F(ReachabilityServiceTest, PathUpdateOnTheMainThreadIsAccepted) {
  const auto wrapper = ReachabilityService::detail::MonitorWrapper::make();
  wrapper->update(NWPath({.status = PathStatus::unsatisfied, .isExpensive = true}));
  EXPECT_FALSE(wrapper->isOnline());
  EXPECT_TRUE(wrapper->isExpensive());
}

using ReachabilityServiceDeathTest = ReachabilityServiceTest;

TEST_F(ReachabilityServiceDeathTest, PathUpdateOnAnotherThreadStopsTheProcess) {
  EXPECT_DEATH(
      {
        const auto wrapper = ReachabilityService::detail::MonitorWrapper::make();
        std::thread([&] { wrapper->update(NWPath()); }).join();
      },
      "Tessaly/ReachabilityService:159: Fatal error: Incorrect actor executor assumption; Expected same executor as "
      "MainQueue");
}

TEST_F(ReachabilityServiceDeathTest, WaitOnAnotherThreadStopsTheProcess) {
  EXPECT_DEATH(
      {
        std::thread([] {
          syncWait([]() -> Async<void> {
            const auto monitor = NWPathMonitor::make();
            const auto observer =
                BoolDefault::ValueObserver::make(UserDefaults::standard(), BoolDefault::Key::canConnectToHost);
            co_await withCheckedContinuation<>([&](CheckedContinuation<> continuation) {
              ReachabilityService::detail::waitUntilOnline(monitor, *observer, std::move(continuation));
            });
          });
        }).join();
      },
      "Tessaly/ReachabilityService:57: Fatal error: Incorrect actor executor assumption; Expected same executor as "
      "MainQueue");
}

// The tests below concern nextIsOnline.

TEST_F(ReachabilityServiceTest, NextIsOnlineCompletesAtTheFirstUpdateWhenOnline) {
  syncWait([]() -> Async<void> { co_await ReachabilityService::nextIsOnline(); });
  EXPECT_EQ(network->monitors(), 1);
}

TEST_F(ReachabilityServiceTest, NextIsOnlineMayBeAwaitedOnAnyThread) {
  std::atomic<bool> isDone{false};
  std::thread thread([&] {
    syncWait([]() -> Async<void> { co_await ReachabilityService::nextIsOnline(); });
    isDone = true;
  });
  while (!isDone) drain();
  thread.join();
}

TEST_F(ReachabilityServiceTest, NextIsOnlineWaitsForThePath) {
  network->setStatus(PathStatus::unsatisfied);
  const Wait wait = startWait();
  drain();
  network->setStatus(PathStatus::requiresConnection);
  drain();
  EXPECT_EQ(*wait.end, End::none);
  network->setStatus(PathStatus::satisfied);
  drain();
  EXPECT_EQ(*wait.end, End::online);
}

TEST_F(ReachabilityServiceTest, NextIsOnlineWaitsForTheSettingAlone) {
  setCanConnect(false);
  const Wait wait = startWait();
  drain();
  EXPECT_EQ(*wait.end, End::none);
  setCanConnect(true);
  drain();
  EXPECT_EQ(*wait.end, End::online);
}

TEST_F(ReachabilityServiceTest, NextIsOnlineNeedsBoth) {
  setCanConnect(false);
  network->setStatus(PathStatus::unsatisfied);
  const Wait wait = startWait();
  drain();
  setCanConnect(true);
  drain();
  EXPECT_EQ(*wait.end, End::none);
  setCanConnect(false);
  network->setStatus(PathStatus::satisfied);
  drain();
  EXPECT_EQ(*wait.end, End::none);
  std::thread([] { setCanConnect(true); }).join();
  drain();
  EXPECT_EQ(*wait.end, End::online);
}

TEST_F(ReachabilityServiceTest, NextIsOnlineIgnoresTheRemovalOfTheSetting) {
  setCanConnect(false);
  const Wait wait = startWait();
  drain();
  settings->removeObject(settingName);
  drain();
  EXPECT_EQ(*wait.end, End::none);
  network->setStatus(PathStatus::satisfied);
  drain();
  EXPECT_EQ(*wait.end, End::online);
}

TEST_F(ReachabilityServiceTest, NextIsOnlineInACancelledTaskFailsAtOnce) {
  const Wait wait = startWait();
  wait.task.cancel();
  drain();
  EXPECT_EQ(*wait.end, End::cancelled);
}

TEST_F(ReachabilityServiceTest, CancelledNextIsOnlineWaitsForTheSetting) {
  setCanConnect(false);
  const Wait wait = startWait();
  drain();
  wait.task.cancel();
  drain();
  EXPECT_EQ(*wait.end, End::none);
  network->setStatus(PathStatus::satisfied);
  drain();
  EXPECT_EQ(*wait.end, End::none);
  setCanConnect(true);
  drain();
  EXPECT_EQ(*wait.end, End::online);
}

TEST_F(ReachabilityServiceTest, CancelledNextIsOnlineIgnoresThePath) {
  network->setStatus(PathStatus::unsatisfied);
  const Wait wait = startWait();
  drain();
  wait.task.cancel();
  network->setStatus(PathStatus::satisfied);
  drain();
  EXPECT_EQ(*wait.end, End::none);
  setCanConnect(false);
  drain();
  EXPECT_EQ(*wait.end, End::none);
  setCanConnect(true);
  drain();
  EXPECT_EQ(*wait.end, End::online);
}

TEST_F(ReachabilityServiceTest, CancelledNextIsOnlineFailsAtASettingChange) {
  network->setStatus(PathStatus::unsatisfied);
  const Wait wait = startWait();
  drain();
  Task<> writer([] { setCanConnect(false); });
  writer.cancel();
  drain();
  EXPECT_EQ(*wait.end, End::cancelled);
}

TEST_F(ReachabilityServiceTest, NextIsOnlineResumesOnce) {
  for (int i = 0; i < Tests::repetitions(100); ++i) {
    setCanConnect(false);
    network->setStatus(PathStatus::unsatisfied);
    const Wait wait = startWait();
    drain();
    std::thread setter([] { setCanConnect(true); });
    network->setStatus(PathStatus::satisfied);
    network->setStatus(PathStatus::unknown);
    drain();
    setter.join();
    drain();
    network->setStatus(PathStatus::satisfied);
    setCanConnect(false);
    setCanConnect(true);
    drain();
    ASSERT_EQ(*wait.end, End::online);
  }
}

TEST_F(ReachabilityServiceTest, NextIsOnlineMakesAMonitorForEachWait) {
  network->setStatus(PathStatus::unsatisfied);
  const Wait first = startWait();
  const Wait second = startWait();
  drain();
  EXPECT_EQ(network->monitors(), 2);
  network->setStatus(PathStatus::satisfied);
  drain();
  EXPECT_EQ(*first.end, End::online);
  EXPECT_EQ(*second.end, End::online);
}

TEST_F(ReachabilityServiceTest, NextIsOnlineMayBeCancelledAtAnyMoment) {
  for (int i = 0; i < Tests::repetitions(200); ++i) {
    setCanConnect(true);
    network->setStatus(PathStatus::satisfied);
    const Wait wait = startWait();
    std::thread canceller([task = wait.task] { task.cancel(); });
    drain();
    canceller.join();
    drain();
    if (*wait.end == End::none) {
      setCanConnect(false);
      setCanConnect(true);
      drain();
    }
    ASSERT_TRUE(*wait.end == End::online || *wait.end == End::cancelled);
  }
}

// The tests below concern statuses.

Async<std::vector<Status>> take(AsyncStream<Status> stream, int count) {
  std::vector<Status> statuses;
  auto iterator = stream.makeAsyncIterator();
  while (static_cast<int>(statuses.size()) < count) {
    const std::optional<Status> status = co_await iterator.next();
    if (!status) break;
    statuses.push_back(*status);
  }
  co_return statuses;
}

constexpr Status online{.isOnline = true, .isExpensive = false};
constexpr Status offline{.isOnline = false, .isExpensive = false};
constexpr Status costly{.isOnline = true, .isExpensive = true};

TEST_F(ReachabilityServiceTest, StatusesBeginWithTheCurrentStatus) {
  EXPECT_THAT(syncWait(take(ReachabilityService::statuses(), 1)), ElementsAre(online));
}

TEST_F(ReachabilityServiceTest, StatusesReportEveryPath) {
  const AsyncStream<Status> statuses = ReachabilityService::statuses();
  network->setStatus(PathStatus::satisfied);
  network->setStatus(PathStatus::unsatisfied);
  network->setStatus(PathStatus::unsatisfied);
  setExpensive(PathStatus::satisfied, true);
  EXPECT_THAT(syncWait(take(statuses, 5)), ElementsAre(online, online, offline, offline, costly));
}

TEST_F(ReachabilityServiceTest, StatusesReportEveryChangeOfTheSetting) {
  const AsyncStream<Status> statuses = ReachabilityService::statuses();
  EXPECT_THAT(syncWait(take(statuses, 1)), ElementsAre(online));
  setCanConnect(false);
  setExpensive(PathStatus::satisfied, true);
  EXPECT_THAT(syncWait(take(statuses, 2)), ElementsAre(offline, Status{.isOnline = false, .isExpensive = true}));
  setCanConnect(true);
  EXPECT_THAT(syncWait(take(statuses, 1)), ElementsAre(costly));
}

TEST_F(ReachabilityServiceTest, StatusesIgnoreTheRemovalOfTheSetting) {
  setCanConnect(false);
  const AsyncStream<Status> statuses = ReachabilityService::statuses();
  EXPECT_THAT(syncWait(take(statuses, 1)), ElementsAre(offline));
  settings->removeObject(settingName);
  network->setStatus(PathStatus::unknown);
  EXPECT_THAT(syncWait(take(statuses, 1)), ElementsAre(online));
}

TEST_F(ReachabilityServiceTest, StatusesNeedNoMainQueue) {
  std::thread([&] {
    const AsyncStream<Status> statuses = ReachabilityService::statuses();
    network->setStatus(PathStatus::unsatisfied);
    EXPECT_THAT(syncWait(take(statuses, 2)), ElementsAre(online, offline));
  }).join();
}

TEST_F(ReachabilityServiceTest, StatusesHaveAnUnboundedBuffer) {
  constexpr int count = 2000;
  const AsyncStream<Status> statuses = ReachabilityService::statuses();
  for (int i = 1; i < count; ++i) network->setStatus(PathStatus::satisfied);
  EXPECT_EQ(syncWait(take(statuses, count)).size(), static_cast<std::size_t>(count));
}

TEST_F(ReachabilityServiceTest, StatusesEndWithTheirConsumersTask) {
  const auto taken = std::make_shared<std::vector<Status>>();
  Task<> consumer([taken]() -> Async<void> { *taken = co_await take(ReachabilityService::statuses(), 1000); });
  drain();
  consumer.cancel();
  syncWait([&]() -> Async<void> { co_await consumer.value(); });
  EXPECT_LE(taken->size(), 1u);
  network->setStatus(PathStatus::unsatisfied);
  setCanConnect(false);
}

TEST_F(ReachabilityServiceTest, LastStatusIsThatOfTheLastChange) {
  for (int i = 0; i < Tests::repetitions(300); ++i) {
    setCanConnect(true);
    network->setStatus(PathStatus::satisfied);
    const AsyncStream<Status> statuses = ReachabilityService::statuses();
    std::thread setter([] { setCanConnect(false); });
    setExpensive(PathStatus::satisfied, true);
    setter.join();
    const std::vector<Status> taken = syncWait(take(statuses, 3));
    ASSERT_EQ(taken.size(), 3u);
    ASSERT_EQ(taken.back(), (Status{.isOnline = false, .isExpensive = true})) << i;
  }
}

TEST_F(ReachabilityServiceTest, EachChangeOfOneThreadIsReported) {
  for (int i = 0; i < Tests::repetitions(1000); ++i) {
    const AsyncStream<Status> statuses = ReachabilityService::statuses();
    ASSERT_THAT(syncWait(take(statuses, 1)), ElementsAre(online));
    // The reporter of the first status may still be ending.
    for (const bool canConnect : {false, true, false, true}) setCanConnect(canConnect);
    ASSERT_THAT(syncWait(take(statuses, 4)), ElementsAre(offline, online, offline, online)) << i;
  }
}

TEST_F(ReachabilityServiceTest, ConsumersMayStartAndEndDuringChanges) {
  std::atomic<bool> isDone{false};
  std::thread changer([&] {
    for (int i = 0; !isDone; ++i) {
      network->setStatus(i % 2 == 0 ? PathStatus::unsatisfied : PathStatus::satisfied);
      if (i % 16 == 0) setCanConnect(i % 32 == 0);
    }
  });
  for (int i = 0; i < Tests::repetitions(1000); ++i) {
    const AsyncStream<Status> statuses = ReachabilityService::statuses();
    if (i % 4 == 0) EXPECT_EQ(syncWait(take(statuses, 2)).size(), 2u);
  }
  isDone = true;
  changer.join();
}

}  // namespace
}  // namespace Tessaly
