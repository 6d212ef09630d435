// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/TaskLocal.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/Platform/Testing/SeededScheduler.hpp"
#include "Tessaly/SettingsAndObservation/KeyPathsMonitor.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {

/// An object that stores its monitors itself, with hooks written by hand.
class Record {
 public:
  struct MonitoredKeyPaths {};

  [[nodiscard]] const std::string& title() const { return title_; }
  void setTitle(std::string title) {
    title_ = std::move(title);
    monitors.didSet(keyPath<&Record::title>, *this);
  }
  [[nodiscard]] int year() const { return year_; }
  void setYear(int year) {
    year_ = year;
    monitors.didSet(keyPath<&Record::year>, *this);
  }
  void removeMonitor(const KeyPathsMonitor& monitor) {
    ++removals;
    monitors.remove(monitor);
  }

  KeyPathsMonitor::Locked monitors;
  int removals = 0;

 private:
  std::string title_;
  int year_ = 1970;
};

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::KilledBySignal;
using Tests::repetitions;
using OnChange = KeyPathsMonitor::OnChange;

static_assert(Monitorable<Record>);
static_assert(!Monitorable<std::string>);

constinit TaskLocal<int> writer(0);

std::shared_ptr<KeyPathsMonitor> counting(int& changes) {
  return KeyPathsMonitor::make(OnChange::synchronous([&changes] { ++changes; }));
}

TEST(KeyPathsMonitor, FiresForTheKeyPathsThatItWatches) {
  const auto record = std::make_shared<Record>();
  int changes = 0;
  const auto monitor = counting(changes);
  monitor->add(record, keyPath<&Record::title>);
  record->monitors.insert(monitor);
  record->setYear(2000);
  EXPECT_EQ(changes, 0);
  record->setTitle("Blue");
  record->setTitle("Blue");
  EXPECT_EQ(changes, 2);
}

TEST(KeyPathsMonitor, ReactsToItsObjectAndUpdatesForAnyObject) {
  const auto record = std::make_shared<Record>();
  const auto other = std::make_shared<Record>();
  int changes = 0;
  int updates = 0;
  const auto monitor = counting(changes);
  monitor->add(record, keyPath<&Record::title>);
  monitor->monitoring(keyPath<&Record::title>, [&](KeyPathsMonitor& told) {
    EXPECT_EQ(&told, monitor.get());
    ++updates;
  });
  EXPECT_EQ(updates, 1) << "once at registration";
  EXPECT_EQ(changes, 0);
  other->monitors.insert(monitor);
  other->setTitle("x");
  EXPECT_EQ(updates, 2);
  EXPECT_EQ(changes, 0);
  record->monitors.insert(monitor);
  record->setTitle("y");
  EXPECT_EQ(updates, 3);
  EXPECT_EQ(changes, 1);
  record->setYear(1);
  EXPECT_EQ(updates, 3);
}

TEST(KeyPathsMonitor, LastAddedObjectOfAKeyPathIsWatched) {
  const auto first = std::make_shared<Record>();
  const auto second = std::make_shared<Record>();
  int changes = 0;
  const auto monitor = counting(changes);
  for (const auto& record : {first, second}) {
    monitor->add(record, keyPath<&Record::title>);
    record->monitors.insert(monitor);
  }
  first->setTitle("x");
  EXPECT_EQ(changes, 0);
  second->setTitle("x");
  EXPECT_EQ(changes, 1);
}

TEST(KeyPathsMonitor, UpdateMayReplaceItself) {
  int first = 0;
  int second = 0;
  const auto record = std::make_shared<Record>();
  const auto monitor = KeyPathsMonitor::make(OnChange::synchronous([] {}));
  monitor->monitoring(keyPath<&Record::title>, [&](KeyPathsMonitor& told) {
    ++first;
    if (first == 2) told.monitoring(keyPath<&Record::title>, [&](KeyPathsMonitor&) { ++second; });
  });
  monitor->didSet(keyPath<&Record::title>, *record);
  EXPECT_EQ(first, 2);
  EXPECT_EQ(second, 1);
  monitor->didSet(keyPath<&Record::title>, *record);
  EXPECT_EQ(first, 2);
  EXPECT_EQ(second, 2);
}

TEST(KeyPathsMonitor, CallsTheUpdateBeforeTheHandler) {
  const auto record = std::make_shared<Record>();
  std::vector<std::string> calls;
  const auto monitor = KeyPathsMonitor::make(OnChange::synchronous([&] { calls.emplace_back("handler"); }));
  monitor->add(record, keyPath<&Record::title>);
  monitor->monitoring(keyPath<&Record::title>, [&](KeyPathsMonitor&) { calls.emplace_back("update"); });
  monitor->didSet(keyPath<&Record::title>, *record);
  EXPECT_THAT(calls, ElementsAre("update", "update", "handler"));
}

TEST(KeyPathsMonitor, ChangeMayNameItsObjectBySharedPointer) {
  const auto record = std::make_shared<Record>();
  const auto other = std::make_shared<Record>();
  int changes = 0;
  const auto monitor = counting(changes);
  monitor->add(record, keyPath<&Record::title>);
  record->monitors.insert(monitor);
  monitor->didSet(keyPath<&Record::title>, record);
  EXPECT_EQ(changes, 1);
  monitor->didSet(keyPath<&Record::title>, other);
  EXPECT_EQ(changes, 1);
  record->monitors.didSet(keyPath<&Record::title>, record);
  EXPECT_EQ(changes, 2);
}

TEST(KeyPathsMonitor, DoesNothingAfterItsObjectsEnd) {
  auto record = std::make_shared<Record>();
  int changes = 0;
  const auto monitor = counting(changes);
  monitor->add(record, keyPath<&Record::title>);
  const Record& address = *record;
  const auto keepsMemory = std::weak_ptr(record);  // Keeps the address from being used again.
  record.reset();
  monitor->didSet(keyPath<&Record::title>, address);
  EXPECT_EQ(changes, 0);
}

TEST(KeyPathsMonitor, LatestOfThreeQuickChangesWins) {
  auto& scheduler = SeededScheduler::install();
  const auto record = std::make_shared<Record>();
  std::vector<bool> cancelled;
  std::vector<Task<>> tasks;
  const auto monitor = KeyPathsMonitor::make(OnChange::asynchronous([&]() -> Async<void> {
    cancelled.push_back(Task<>::isCurrentCancelled());
    co_return;
  }));
  monitor->add(record, keyPath<&Record::title>);
  record->monitors.insert(monitor);
  EXPECT_FALSE(monitor->onChangeTask().has_value());
  for (const char* title : {"a", "b", "c"}) {
    record->setTitle(title);
    tasks.push_back(*monitor->onChangeTask());
  }
  EXPECT_THAT(cancelled, IsEmpty()) << "never inline";
  EXPECT_TRUE(tasks[0].isCancelled());
  EXPECT_TRUE(tasks[1].isCancelled());
  EXPECT_FALSE(tasks[2].isCancelled());
  // On the main thread the tasks inherit its isolation.
  syncWait([&]() -> Async<void> { co_await tasks[2].finished(); });
  scheduler.runUntilIdle();
  EXPECT_THAT(cancelled, ElementsAre(true, true, false));
}

TEST(KeyPathsMonitor, TaskInheritsTheContextOfTheChange) {
  const auto record = std::make_shared<Record>();
  std::optional<int> value;
  std::optional<TaskPriority> priority;
  std::optional<Isolation> isolation;
  const Isolation own = Isolation::serial();
  const auto monitor = KeyPathsMonitor::make(OnChange::asynchronous([&]() -> Async<void> {
    value = writer.value();
    priority = Task<>::currentPriority();
    isolation = Isolation::current();
    co_return;
  }));
  monitor->add(record, keyPath<&Record::title>);
  record->monitors.insert(monitor);
  const Task<> reporter({.priority = TaskPriority::low, .isolation = own},
                        [&] { writer.withValue(7, [&] { record->setTitle("x"); }); });
  syncWait([&]() -> Async<void> {
    co_await reporter.finished();
    co_await withIsolation(own, [] {});
  });
  EXPECT_EQ(value, 7);
  EXPECT_EQ(isolation, own);
  EXPECT_GE(*priority, TaskPriority::low);
}

TEST(KeyPathsMonitor, ReleaseDoesNotCancelItsTask) {
  auto& scheduler = SeededScheduler::install();
  const auto record = std::make_shared<Record>();
  std::vector<bool> cancelled;
  const Task<> whole = Task<>::detached([&] {
    auto monitor = KeyPathsMonitor::make(OnChange::asynchronous([&]() -> Async<void> {
      co_await Task<>::yield();
      cancelled.push_back(Task<>::isCurrentCancelled());
    }));
    monitor->add(record, keyPath<&Record::title>);
    monitor->didSet(keyPath<&Record::title>, *record);
    monitor.reset();
  });
  scheduler.runUntilIdle();
  EXPECT_THAT(cancelled, ElementsAre(false));
}

TEST(KeyPathsMonitor, CancellationErrorEndsItsTaskSilently) {
  auto& scheduler = SeededScheduler::install();
  const auto record = std::make_shared<Record>();
  int ended = 0;
  const Task<> whole = Task<>::detached([&] {
    const auto monitor = KeyPathsMonitor::make(OnChange::asynchronous([&]() -> Async<void> {
      Task<>::checkCancellation();
      ++ended;
      co_return;
    }));
    monitor->add(record, keyPath<&Record::title>);
    for (int i = 0; i < 3; ++i) monitor->didSet(keyPath<&Record::title>, *record);
  });
  scheduler.runUntilIdle();
  EXPECT_EQ(ended, 1);
}

TEST(KeyPathsMonitor, EndAsksEachLivingObjectToRemoveIt) {
  const auto record = std::make_shared<Record>();
  auto other = std::make_shared<Record>();
  int changes = 0;
  auto monitor = counting(changes);
  monitor->add(record, keyPath<&Record::title>);
  monitor->add(record, keyPath<&Record::year>);
  record->monitors.insert(monitor);
  auto second = counting(changes);
  second->add(other, keyPath<&Record::title>);
  other.reset();
  second.reset();
  EXPECT_FALSE(record->monitors.isEmpty());
  monitor.reset();
  EXPECT_EQ(record->removals, 2);
  EXPECT_TRUE(record->monitors.isEmpty());
  record->setTitle("x");
  EXPECT_EQ(changes, 0);
}

TEST(KeyPathsMonitor, ArrayOwnsAStoredMonitor) {
  int changes = 0;
  auto monitor = counting(changes);
  std::vector<std::shared_ptr<KeyPathsMonitor>> monitors;
  monitor->store(monitors);
  const std::weak_ptr<KeyPathsMonitor> weak = monitor;
  monitor.reset();
  EXPECT_FALSE(weak.expired());
  monitors.clear();
  EXPECT_TRUE(weak.expired());
}

TEST(KeyPathsMonitor, IsEqualToItselfOnly) {
  int changes = 0;
  const auto first = counting(changes);
  const auto second = counting(changes);
  EXPECT_EQ(*first, *first);
  EXPECT_NE(*first, *second);
  EXPECT_NE(first->id(), second->id());
  EXPECT_EQ(std::hash<KeyPathsMonitor>()(*first), std::hash<UUID>()(first->id()));
}

TEST(KeyPathsMonitorWeak, EqualsThatOfTheSameMonitorOrOfEndedOnes) {
  using Weak = KeyPathsMonitor::Weak;
  int changes = 0;
  auto first = counting(changes);
  auto second = counting(changes);
  const Weak weak{first};
  const Weak same{first};
  const Weak other{second};
  const std::hash<Weak> hash;
  EXPECT_EQ(weak, same);
  EXPECT_EQ(hash(weak), hash(same));
  EXPECT_NE(weak, other);
  EXPECT_NE(hash(weak), hash(other));
  second.reset();
  EXPECT_NE(weak, other);
  first.reset();
  EXPECT_EQ(weak, other);
  EXPECT_EQ(hash(weak), hash(other));
  EXPECT_EQ(weak, Weak());
}

TEST(KeyPathsMonitorLocked, HoldsItsMonitorsWeaklyAndOnce) {
  KeyPathsMonitor::Locked monitors;
  int changes = 0;
  EXPECT_TRUE(monitors.isEmpty());
  auto monitor = counting(changes);
  const auto never = counting(changes);
  monitors.insert(monitor);
  monitors.insert(monitor);
  EXPECT_EQ(monitor.use_count(), 1);
  monitors.remove(*never);
  EXPECT_FALSE(monitors.isEmpty());
  monitors.remove(*monitor);
  EXPECT_TRUE(monitors.isEmpty());
}

TEST(KeyPathsMonitorLocked, SkipsEndedMonitorsButCountsThem) {
  Record record;
  int changes = 0;
  auto monitor = counting(changes);
  record.monitors.insert(monitor);  // It is not added to the monitor, so the monitor's end does not remove it.
  monitor.reset();
  EXPECT_FALSE(record.monitors.isEmpty());
  record.setTitle("x");
  EXPECT_EQ(changes, 0);
}

TEST(KeyPathsMonitorLocked, CopyHasItsOwnMonitors) {
  int changes = 0;
  const auto monitor = counting(changes);
  KeyPathsMonitor::Locked monitors;
  monitors.insert(monitor);
  KeyPathsMonitor::Locked copy = monitors;
  copy.remove(*monitor);
  EXPECT_TRUE(copy.isEmpty());
  EXPECT_FALSE(monitors.isEmpty());
  copy = monitors;
  EXPECT_FALSE(copy.isEmpty());
}

TEST(KeyPathsMonitorLocked, MonitorsMayInsertAndRemoveDuringANotification) {
  const auto record = std::make_shared<Record>();
  int others = 0;
  const auto other = counting(others);
  other->add(record, keyPath<&Record::title>);
  int changes = 0;
  std::shared_ptr<KeyPathsMonitor> monitor;
  monitor = KeyPathsMonitor::make(OnChange::synchronous([&] {
    ++changes;
    record->monitors.insert(other);
    record->monitors.remove(*monitor);
  }));
  monitor->add(record, keyPath<&Record::title>);
  record->monitors.insert(monitor);
  record->setTitle("a");
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(others, 0) << "not in the snapshot";
  record->setTitle("b");
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(others, 1);
}

TEST(KeyPathsMonitorLocked, SkipsAMonitorThatAnEarlierOneReleased) {
  const auto record = std::make_shared<Record>();
  int changes = 0;
  std::shared_ptr<KeyPathsMonitor> first;
  std::shared_ptr<KeyPathsMonitor> second;
  first = KeyPathsMonitor::make(OnChange::synchronous([&] {
    ++changes;
    second.reset();
  }));
  second = KeyPathsMonitor::make(OnChange::synchronous([&] {
    ++changes;
    first.reset();
  }));
  for (const auto& monitor : {first, second}) {
    monitor->add(record, keyPath<&Record::title>);
    record->monitors.insert(monitor);
  }
  record->setTitle("x");
  EXPECT_EQ(changes, 1);
}

TEST(KeyPathsMonitor, MayBeReleasedWhileAnotherThreadDeliversItsChange) {
  for (int round = 0; round < repetitions(200); ++round) {
    const auto record = std::make_shared<Record>();
    std::atomic<bool> isInside = false;
    std::atomic<bool> isReleased = false;
    auto alive = std::make_shared<int>(1);
    auto monitor = KeyPathsMonitor::make(OnChange::synchronous([&, alive] {
      isInside = true;
      isInside.notify_one();
      isReleased.wait(false);
      EXPECT_EQ(*alive, 1);
    }));
    monitor->add(record, keyPath<&Record::title>);
    record->monitors.insert(monitor);
    std::thread changer([&] { record->setTitle("x"); });
    isInside.wait(false);
    monitor.reset();
    EXPECT_EQ(alive.use_count(), 2) << "the call goes on";
    isReleased = true;
    isReleased.notify_one();
    changer.join();
    ASSERT_EQ(alive.use_count(), 1);
    ASSERT_TRUE(record->monitors.isEmpty());
  }
}

TEST(KeyPathsMonitor, MonitorAndObjectMayEndOnTwoThreads) {
  for (int round = 0; round < repetitions(500); ++round) {
    auto record = std::make_shared<Record>();
    auto monitor = KeyPathsMonitor::make(OnChange::synchronous([] {}));
    monitor->add(record, keyPath<&Record::title>);
    record->monitors.insert(monitor);
    std::thread other([taken = std::move(record)]() mutable { taken.reset(); });
    monitor.reset();
    other.join();
  }
}

TEST(KeyPathsMonitorDeathTest, ThrowingHandlerStopsTheProcess) {
  const auto record = std::make_shared<Record>();
  const auto dies = [&](const std::shared_ptr<KeyPathsMonitor>& monitor) {
    monitor->add(record, keyPath<&Record::title>);
    monitor->didSet(keyPath<&Record::title>, *record);
  };
  EXPECT_EXIT(dies(KeyPathsMonitor::make(OnChange::synchronous([] { throw 1; }))), KilledBySignal(SIGABRT),
              "Tessaly/Notification:[0-9]+: Fatal error: The change handler of a key-path monitor has thrown\n");
  EXPECT_EXIT(
      {
        const auto monitor = KeyPathsMonitor::make(OnChange::asynchronous([]() -> Async<void> {
          throw 1;
          co_return;
        }));
        dies(monitor);
        syncWait(monitor->onChangeTask()->finished());
      },
      KilledBySignal(SIGABRT),
      "Tessaly/KeyPathsMonitor:[0-9]+: Fatal error: The change handler of a key-path monitor has thrown\n");
}

}  // namespace
}  // namespace Tessaly
