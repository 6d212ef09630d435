// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"

namespace Tessaly::inline v1 {
namespace {

/// One call of an observer.
struct Call {
  std::string key;
  std::optional<KeyValueChange::ObjectOrNull> newValue;
  ChangeOrigin origin;
  void* context;

  friend bool operator==(const Call&, const Call&) = default;
};

class Recorder final : public KeyValueObserver {
 public:
  void observeValue(std::optional<std::string_view> keyPath, const Object* object,
                    const std::optional<KeyValueChange>& change, void* context) override {
    calls.push_back({std::string(keyPath.value()), change.value().newValue, change->origin, context});
    objects.push_back(object);
  }

  std::vector<Call> calls;
  std::vector<const Object*> objects;
};

constexpr auto newValue = KeyValueObservingOptions::newValue;
constexpr auto ours = ChangeOrigin::thisProcess;

TEST(InMemoryUserDefaults, ReadsAWrittenValueUntilItsRemoval) {
  const auto store = InMemoryUserDefaults::make();
  EXPECT_EQ(store->value("a"), std::nullopt);
  store->set("text", "a");
  store->set(5, "");
  EXPECT_EQ(store->value("a"), PropertyList("text"));
  EXPECT_EQ(store->dictionaryRepresentation(), (PropertyList::Dictionary{{"", 5}, {"a", "text"}}));
  store->removeObject("a");
  EXPECT_EQ(store->value("a"), std::nullopt);
}

TEST(InMemoryUserDefaults, NotifiesObserversOfTheKeyBeforeTheWriteReturns) {
  const auto store = InMemoryUserDefaults::make();
  const auto observer = std::make_shared<Recorder>();
  int context = 0;
  store->addObserver(observer, "a", newValue, &context);
  store->set(1, "a");
  store->set(1, "b");
  store->removeObject("a");
  EXPECT_EQ(observer->calls,
            (std::vector<Call>{{"a", PropertyList(1), ours, &context}, {"a", KeyValueChange::null(), ours, &context}}));
  EXPECT_EQ(observer->objects, (std::vector<const Object*>{store.get(), store.get()}));
}

TEST(InMemoryUserDefaults, EqualValueOfAnotherKindNotifiesNoObserver) {
  const auto store = InMemoryUserDefaults::make();
  const auto observer = std::make_shared<Recorder>();
  store->set(5, "a");
  store->addObserver(observer, "a", newValue, nullptr);
  store->set(5.0, "a");
  store->removeObject("b");
  EXPECT_TRUE(store->value("a")->isIdentical(5.0));
  EXPECT_TRUE(observer->calls.empty());
}

TEST(InMemoryUserDefaults, NamesTheOriginOfAChange) {
  const auto store = InMemoryUserDefaults::make();
  const auto observer = std::make_shared<Recorder>();
  store->addObserver(observer, "a", newValue, nullptr);
  store->setFromElsewhere(PropertyList(2), "a");
  EXPECT_EQ(observer->calls, (std::vector<Call>{{"a", PropertyList(2), ChangeOrigin::otherProcess, nullptr}}));
  EXPECT_EQ(store->value("a"), PropertyList(2));
}

TEST(InMemoryUserDefaults, ObserversWithoutTheOptionGetNoNewValue) {
  const auto store = InMemoryUserDefaults::make();
  const auto observer = std::make_shared<Recorder>();
  store->addObserver(observer, "a", KeyValueObservingOptions::none, nullptr);
  store->set(1, "a");
  ASSERT_EQ(observer->calls.size(), 1u);
  EXPECT_EQ(observer->calls[0].newValue, std::nullopt);
}

TEST(InMemoryUserDefaults, NotifiesOnceForEachAddition) {
  const auto store = InMemoryUserDefaults::make();
  const auto observer = std::make_shared<Recorder>();
  store->addObserver(observer, "a", newValue, nullptr);
  store->addObserver(observer, "a", newValue, nullptr);
  store->set(1, "a");
  EXPECT_EQ(observer->calls.size(), 2u);
  store->removeObserver(*observer, "a");
  store->set(2, "a");
  EXPECT_EQ(observer->calls.size(), 3u);
  store->removeObserver(*observer, "b");
  store->removeObserver(*observer, "a");
  store->removeObserver(*observer, "a");
  store->set(3, "a");
  EXPECT_EQ(observer->calls.size(), 3u);
}

TEST(InMemoryUserDefaults, ObserverOfEveryKeyIsNotifiedOfEachKey) {
  const auto store = InMemoryUserDefaults::make();
  const auto observer = std::make_shared<Recorder>();
  store->addObserverOfEveryKey(observer, newValue, nullptr);
  store->set(1, "a");
  store->set(2, "");
  store->removeObserverOfEveryKey(*observer);
  store->set(3, "a");
  EXPECT_EQ(observer->calls,
            (std::vector<Call>{{"a", PropertyList(1), ours, nullptr}, {"", PropertyList(2), ours, nullptr}}));
}

/// Does something to the store while it is told.
class Actor final : public KeyValueObserver {
 public:
  explicit Actor(std::function<void(Actor&)> action) : action_(std::move(action)) {}
  void observeValue(std::optional<std::string_view>, const Object*, const std::optional<KeyValueChange>&,
                    void*) override {
    ++count;
    action_(*this);
  }
  int count = 0;

 private:
  std::function<void(Actor&)> action_;
};

TEST(InMemoryUserDefaults, NotifiesObserversInTheOrderOfTheirAddition) {
  const auto store = InMemoryUserDefaults::make();
  std::vector<int> told;
  std::vector<std::shared_ptr<KeyValueObserver>> observers;
  for (int i = 0; i < 6; ++i) {
    const auto& observer = observers.emplace_back(std::make_shared<Actor>([&told, i](Actor&) { told.push_back(i); }));
    if (i % 2 == 0) {
      store->addObserverOfEveryKey(observer, newValue, nullptr);
    } else {
      store->addObserver(observer, i == 3 ? "b" : "a", newValue, nullptr);
    }
  }
  store->set(1, "a");
  EXPECT_EQ(told, (std::vector<int>{0, 1, 2, 4, 5}));
}

TEST(InMemoryUserDefaults, TakesIllFormedKeysForTheirReplacement) {
  const auto store = InMemoryUserDefaults::make();
  const auto illFormed = std::make_shared<Recorder>();
  const auto other = std::make_shared<Recorder>();
  const auto replacement = std::make_shared<Recorder>();
  store->addObserver(illFormed, "a\xFF", newValue, nullptr);
  store->addObserver(other, "a\xFE", newValue, nullptr);
  store->addObserver(replacement, "a\uFFFD", newValue, nullptr);
  store->set(1, "a\xFF");
  EXPECT_EQ(store->value("a\uFFFD"), PropertyList(1));
  EXPECT_EQ(illFormed->calls, (std::vector<Call>{{"a\xFF", PropertyList(1), ours, nullptr}}));
  EXPECT_EQ(other->calls, (std::vector<Call>{{"a\xFE", PropertyList(1), ours, nullptr}}));
  EXPECT_EQ(replacement->calls, (std::vector<Call>{{"a\uFFFD", PropertyList(1), ours, nullptr}}));
  store->removeObserver(*illFormed, "a\xFE");
  store->removeObserver(*other, "a\xFE");
  store->set(2, "a\uFFFD");
  EXPECT_EQ(illFormed->calls.size(), 2u);
  EXPECT_EQ(other->calls.size(), 1u);
}

TEST(InMemoryUserDefaults, RemovesManyObserversInAnyOrder) {
  const auto store = InMemoryUserDefaults::make();
  std::vector<std::shared_ptr<Recorder>> observers;
  constexpr int count = 50'000;
  for (int i = 0; i < count; ++i) {
    store->addObserver(observers.emplace_back(std::make_shared<Recorder>()), std::to_string(i), newValue, nullptr);
  }
  store->set(1, "7");
  for (int i = 0; i < count; ++i) {
    EXPECT_EQ(observers[static_cast<std::size_t>(i)]->calls.size(), i == 7 ? 1u : 0u);
    store->removeObserver(*observers[static_cast<std::size_t>(i)], std::to_string(i));
  }
  store->set(2, "7");
  EXPECT_EQ(observers[7]->calls.size(), 1u);
}

TEST(InMemoryUserDefaults, DoesNotKeepObserversAlive) {
  const auto store = InMemoryUserDefaults::make();
  auto observer = std::make_shared<Recorder>();
  store->addObserver(observer, "a", newValue, nullptr);
  const std::weak_ptr<Recorder> gone = observer;
  observer.reset();
  EXPECT_TRUE(gone.expired());
  store->set(1, "a");
  EXPECT_EQ(store->value("a"), PropertyList(1));
}

TEST(InMemoryUserDefaults, LetsObserversReadWriteAddAndRemove) {
  const auto store = InMemoryUserDefaults::make();
  const auto second = std::make_shared<Recorder>();
  const auto actor = std::make_shared<Actor>([&](Actor& self) {
    EXPECT_EQ(store->value("a"), PropertyList(1));
    store->addObserver(second, "b", newValue, nullptr);
    store->set(2, "b");
    store->removeObserver(self, "a");
  });
  store->addObserver(actor, "a", newValue, nullptr);
  store->set(1, "a");
  store->set(3, "a");
  EXPECT_EQ(actor->count, 1);
  EXPECT_EQ(second->calls.size(), 1u);
}

TEST(InMemoryUserDefaults, ObserverRemovedBeforeItsTurnIsNotNotified) {
  const auto store = InMemoryUserDefaults::make();
  const auto removed = std::make_shared<Recorder>();
  const auto removedOfEvery = std::make_shared<Recorder>();
  const auto twice = std::make_shared<Recorder>();
  auto gone = std::make_shared<Recorder>();
  const auto stays = std::make_shared<Recorder>();
  const auto actor = std::make_shared<Actor>([&](Actor&) {
    store->removeObserver(*removed, "a");
    store->removeObserverOfEveryKey(*removedOfEvery);
    store->removeObserver(*twice, "a");
    gone.reset();
  });
  store->addObserver(actor, "a", newValue, nullptr);
  for (const auto& observer : {removed, twice, twice, gone, stays}) {
    store->addObserver(observer, "a", newValue, nullptr);
  }
  store->addObserverOfEveryKey(removedOfEvery, newValue, nullptr);
  store->set(1, "a");
  EXPECT_TRUE(removed->calls.empty());
  EXPECT_TRUE(removedOfEvery->calls.empty());
  EXPECT_EQ(twice->calls.size(), 1u);
  EXPECT_EQ(stays->calls.size(), 1u);
}

TEST(InMemoryUserDefaults, RefusesAValueThatIsNestedTooDeep) {
  const auto store = InMemoryUserDefaults::make();
  store->set(1, "a");
  PropertyList deep = 1;
  for (std::uint32_t i = 0; i + 1 < PropertyList::maximumDepth; ++i) deep = PropertyList::Array{deep};
  store->set(deep, "a");
  EXPECT_EQ(store->value("a"), deep);
  store->set(PropertyList::Array{deep}, "a");
  EXPECT_EQ(store->value("a"), deep);
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::valueTooLarge);
  store->set(2, "a");
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
}

TEST(InMemoryUserDefaults, NoOtherProcessStoresAValueThatIsNestedTooDeep) {
  const auto store = InMemoryUserDefaults::make();
  PropertyList deep = 1;
  while (deep.depth() + 1 < PropertyList::maximumDepth) deep = PropertyList::Array{deep};
  store->setFromElsewhere(deep, "a");
  EXPECT_EQ(store->value("a"), deep);
  store->setFromElsewhere(PropertyList::Array{deep}, "a");
  EXPECT_EQ(store->value("a"), deep);
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
  store->setFromElsewhere(std::nullopt, "a");
  EXPECT_EQ(store->value("a"), std::nullopt);
}

TEST(InMemoryUserDefaults, RepeatedDateWithoutANumberNotifiesNoObserver) {
  const auto store = InMemoryUserDefaults::make();
  const auto observer = std::make_shared<Recorder>();
  store->addObserver(observer, "a", newValue, nullptr);
  for (int i = 0; i < 2; ++i) {
    store->set(Date::sinceReferenceDate(std::numeric_limits<double>::quiet_NaN()), "a");
  }
  EXPECT_EQ(observer->calls.size(), 1u);
}

TEST(InMemoryUserDefaults, ReturnsTheScriptedStatus) {
  const auto store = InMemoryUserDefaults::make();
  EXPECT_TRUE(store->synchronize());
  store->setStatus({.problem = UserDefaultsProblem::diskFull});
  EXPECT_FALSE(store->synchronize());
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::diskFull);
}

TEST(InMemoryUserDefaults, StandsInForTheStandardStoreForAScope) {
  const auto outer = InMemoryUserDefaults::make();
  const UserDefaultsInstallation installation(outer);
  {
    const auto inner = InMemoryUserDefaults::make();
    const UserDefaultsInstallation second(inner);
    EXPECT_EQ(UserDefaults::standard(), inner);
  }
  EXPECT_EQ(UserDefaults::standard(), outer);
  EXPECT_EQ(outer->className(), "Tessaly.UserDefaults");
}

TEST(KeyValueObserverDeathTest, AThrowStopsTheProcessAndNamesTheCallback) {
  const auto store = InMemoryUserDefaults::make();
  const auto actor = std::make_shared<Actor>([](Actor&) { throw std::runtime_error("no"); });
  store->addObserver(actor, "a", newValue, nullptr);
  EXPECT_DEATH(store->set(1, "a"), "Fatal error: A settings observer has thrown");
}

}  // namespace
}  // namespace Tessaly::inline v1
