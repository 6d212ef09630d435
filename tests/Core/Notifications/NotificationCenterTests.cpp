// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <any>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Notifications/NotificationCenter.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Document final : public Object {};

TEST(NotificationCenter, CallsObserversInTheOrderOfAddition) {
  NotificationCenter center;
  std::vector<std::string> told;
  center.addObserver("opened", nullptr, [&](const Notification&) { told.emplace_back("first"); });
  center.addObserver("closed", nullptr, [&](const Notification&) { told.emplace_back("never"); });
  center.addObserver("opened", nullptr, [&](const Notification&) { told.emplace_back("second"); });
  center.addObserver(std::nullopt, nullptr, [&](const Notification& all) { told.push_back(all.name); });
  center.post({.name = "opened"});
  EXPECT_THAT(told, ElementsAre("first", "second", "opened"));
}

TEST(NotificationCenter, PassesTheWholeNotification) {
  NotificationCenter center;
  const auto document = std::make_shared<Document>();
  std::optional<Notification> told;
  center.addObserver("opened", nullptr, [&](const Notification& notification) { told = notification; });
  center.post({.name = "opened", .object = document, .userInfo = {{"pages", 3}}});
  ASSERT_TRUE(told.has_value());
  EXPECT_EQ(told->object, document);
  EXPECT_EQ(std::any_cast<int>(told->userInfo.at("pages")), 3);
}

TEST(NotificationCenter, ObserverOfOneObjectIgnoresOtherObjects) {
  NotificationCenter center;
  auto document = std::make_shared<Document>();
  const auto other = std::make_shared<Document>();
  int told = 0;
  center.addObserver("opened", document, [&](const Notification&) { ++told; });
  center.post({.name = "opened", .object = document});
  center.post({.name = "opened", .object = other});
  center.post({.name = "opened"});
  EXPECT_EQ(told, 1);
  EXPECT_EQ(document.use_count(), 1);
  document.reset();
  center.post({.name = "opened"});
  center.post({.name = "opened", .object = std::make_shared<Document>()});
  EXPECT_EQ(told, 1);
}

/// The observers of two objects that receive a notification about the second one.
std::vector<std::string> observersOfSecond(const std::shared_ptr<Object>& first,
                                           const std::shared_ptr<Object>& second) {
  NotificationCenter center;
  std::vector<std::string> told;
  center.addObserver("opened", first, [&](const Notification&) { told.emplace_back("first"); });
  center.addObserver("opened", second, [&](const Notification&) { told.emplace_back("second"); });
  center.post({.name = "opened", .object = second});
  return told;
}

TEST(NotificationCenter, ObjectsOfOneOwnerAreDistinct) {
  struct Pair {
    Document first;
    Document second;
  };
  const auto pair = std::make_shared<Pair>();
  const std::shared_ptr<Object> first(pair, &pair->first);
  const std::shared_ptr<Object> second(pair, &pair->second);
  EXPECT_THAT(observersOfSecond(first, second), ElementsAre("second"));
}

TEST(NotificationCenter, ObjectsWithoutAnOwnerAreDistinct) {
  Document documents[2];
  const std::shared_ptr<Object> first(std::shared_ptr<void>(), &documents[0]);
  const std::shared_ptr<Object> second(std::shared_ptr<void>(), &documents[1]);
  EXPECT_THAT(observersOfSecond(first, second), ElementsAre("second"));
}

TEST(NotificationCenter, ObserverIgnoresAnObjectAtAFormerAddress) {
  alignas(Document) std::byte place[sizeof(Document)];
  const auto make = [&] {
    return std::shared_ptr<Document>(new (place) Document, [](Document* document) { std::destroy_at(document); });
  };
  NotificationCenter center;
  int told = 0;
  center.addObserver("opened", make(), [&](const Notification&) { ++told; });
  center.post({.name = "opened", .object = make()});
  EXPECT_EQ(told, 0);
}

TEST(NotificationCenter, ARemovedObserverIsNotCalled) {
  NotificationCenter center;
  const auto held = std::make_shared<int>(0);
  const auto token = center.addObserver("opened", nullptr, [held](const Notification&) { ++*held; });
  center.post({.name = "opened"});
  center.removeObserver(token);
  center.post({.name = "opened"});
  center.removeObserver(token);
  center.removeObserver(NotificationCenter::Token{99});
  EXPECT_EQ(*held, 1);
  EXPECT_EQ(held.use_count(), 1);
}

TEST(NotificationCenter, AnObserverMayPostAddAndRemove) {
  NotificationCenter center;
  std::vector<std::string> told;
  NotificationCenter::Token second{};
  center.addObserver("outer", nullptr, [&](const Notification&) {
    told.emplace_back("outer");
    center.removeObserver(second);
    center.addObserver("outer", nullptr, [&](const Notification&) { told.emplace_back("added"); });
    center.post({.name = "inner"});
  });
  second = center.addObserver("outer", nullptr, [&](const Notification&) { told.emplace_back("removed"); });
  center.addObserver("inner", nullptr, [&](const Notification&) { told.emplace_back("inner"); });
  center.post({.name = "outer"});
  EXPECT_THAT(told,
              ElementsAre("outer", "inner"));  // An observer that is added during a post receives only later posts.
}

TEST(NotificationCenter, DefaultCenterIsShared) {
  EXPECT_EQ(&NotificationCenter::default_(), &NotificationCenter::default_());
  int told = 0;
  const auto token = NotificationCenter::default_().addObserver("x", nullptr, [&](const Notification&) { ++told; });
  NotificationCenter::default_().post({.name = "x"});
  NotificationCenter().post({.name = "x"});
  NotificationCenter::default_().removeObserver(token);
  EXPECT_EQ(told, 1);
}

TEST(NotificationCenter, SequenceBuffersNotificationsSinceItWasMade) {
  NotificationCenter center;
  center.post({.name = "opened"});
  const auto notifications = center.notifications("opened");
  center.post({.name = "opened", .userInfo = {{"number", 1}}});
  center.post({.name = "closed"});
  center.post({.name = "opened", .userInfo = {{"number", 2}}});
  syncWait([&]() -> Async<void> {
    auto iterator = notifications.makeAsyncIterator();
    for (int number = 1; number <= 2; ++number) {
      const auto notification = co_await iterator.next();
      EXPECT_EQ(std::any_cast<int>(notification->userInfo.at("number")), number);
    }
  });
}

TEST(NotificationCenter, SequenceStopsObservingWithItsConsumer) {
  NotificationCenter center;
  const auto held = std::make_shared<Document>();
  {
    const auto notifications = center.notifications("opened");
    center.post({.name = "opened", .object = held});
    EXPECT_EQ(held.use_count(), 2);
  }
  EXPECT_EQ(held.use_count(), 1);
  center.post({.name = "opened", .object = held});
  EXPECT_EQ(held.use_count(), 1);
}

TEST(NotificationCenter, SequenceMayOutliveTheCenter) {
  std::optional<NotificationCenter> center(std::in_place);
  std::optional<NotificationCenter::Notifications> notifications = center->notifications("opened");
  center->post({.name = "opened"});
  center.reset();
  syncWait([&]() -> Async<void> {
    auto iterator = notifications->makeAsyncIterator();
    EXPECT_TRUE((co_await iterator.next()).has_value());
  });
  notifications.reset();
}

TEST(NotificationCenter, WorksOnAllThreads) {
  NotificationCenter center;
  std::atomic<int> told{0};
  center.addObserver("all", nullptr, [&](const Notification&) { ++told; });
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        for (int j = 0; j < 300; ++j) {
          const auto token = center.addObserver("own", nullptr, [](const Notification&) {});
          center.post({.name = "all"});
          center.post({.name = "own"});
          center.removeObserver(token);
        }
      });
    }
  }
  EXPECT_EQ(told, 1'200);
}

TEST(NotificationCenterDeathTest, AnObserverThatThrowsStopsTheProcess) {
  NotificationCenter center;
  center.addObserver("opened", nullptr, [](const Notification&) { throw 1; });
  EXPECT_EXIT(center.post({.name = "opened"}), testing::KilledBySignal(SIGABRT),
              "Fatal error: An observer of notifications has thrown\n");
}

}  // namespace
}  // namespace Tessaly
