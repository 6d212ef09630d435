// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "Tessaly/Core/Observation/NSKeyValueObservation.hpp"
#include "Tessaly/Core/Observation/ObservationTracking.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/SettingsAndObservation/MonitorableObject.hpp"
#include "tests/Support/Allocations.hpp"

namespace Tessaly {
namespace {

constexpr int objects = 10'000;
constexpr int trackingsOfEach = 6;
constexpr int observationsOfEach = 3;
constexpr int monitorsOfEach = 1;
static_assert(objects * (trackingsOfEach + observationsOfEach + monitorsOfEach) == 100'000);

struct Item : MonitorableObject {
  Property<int> value = 1;
  Property<int> other = 2;
  [[nodiscard]] int sum() const { return value + other; }
};

/// A hundred thousand registrations on ten thousand objects. Each handler holds the witness.
class Crowd {
 public:
  explicit Crowd(const std::shared_ptr<long>& calls) {
    for (int i = 0; i < objects; ++i) {
      const auto item = items.emplace_back(std::make_shared<Item>());
      for (int n = 0; n < trackingsOfEach; ++n) {
        withObservationTracking([&] { return n % 2 == 0 ? item->value.value() : item->sum(); }, [calls] { ++*calls; });
      }
      for (int n = 0; n < observationsOfEach; ++n) {
        observations.push_back(
            observe(item, keyPath<&Item::sum>, NSKeyValueObservingOptions::new_, [calls](const auto&) { ++*calls; }));
      }
      const auto monitor = KeyPathsMonitor::make(KeyPathsMonitor::OnChange::synchronous([calls] { ++*calls; }));
      item->registerMonitor<&Item::value>(monitor);
      monitors.push_back(monitor);
    }
  }

  std::vector<std::shared_ptr<Item>> items;
  std::vector<NSKeyValueObservation> observations;
  std::vector<std::shared_ptr<KeyPathsMonitor>> monitors;
};

long balance() { return Tests::allocationsOfThisThread() - Tests::deallocationsOfThisThread(); }

TEST(ManyObservers, EachIsCalledOnlyForItsProperty) {
  const auto calls = std::make_shared<long>(0);
  Crowd crowd(calls);
  EXPECT_EQ(calls.use_count(), 1 + 100'000);
  crowd.items[5'000]->value = 3;
  EXPECT_EQ(*calls, trackingsOfEach + observationsOfEach + monitorsOfEach);
  EXPECT_EQ(calls.use_count(), 1 + 100'000 - trackingsOfEach);
  *calls = 0;
  crowd.items[7'000]->other = 3;
  EXPECT_EQ(*calls, trackingsOfEach / 2 + observationsOfEach);
  *calls = 0;
  for (const auto& item : crowd.items) item->value = 9;
  EXPECT_EQ(*calls, 100'000L - trackingsOfEach - trackingsOfEach / 2);
}

// A change allocates only for its own observers, regardless of the number of other observers.
TEST(ManyObservers, ChangeOfAnotherPropertyCostsNothing) {
  const auto alone = std::make_shared<Item>();
  int changes = 0;
  const auto observation =
      observe(alone, keyPath<&Item::value>, NSKeyValueObservingOptions::none, [&](const auto&) { ++changes; });
  const auto change = [&] { alone->value = 4; };
  const auto untracked = [&] { alone->other = 4; };
  change();
  const long before = Tests::allocationsOf(change);
  const auto calls = std::make_shared<long>(0);
  const Crowd crowd(calls);
  change();  // The crowd has used up the memory in the free lists.
  EXPECT_EQ(Tests::allocationsOf(change), before);
  EXPECT_EQ(Tests::allocationsOf(untracked), 0);
  EXPECT_EQ(changes, 4);
  EXPECT_EQ(*calls, 0);
}

TEST(ManyObservers, ObserversAndObjectsMayEndInAnyOrder) {
  const auto calls = std::make_shared<long>(0);
  // The free lists of frames and trackings are full after the first round.
  for (int round = 0; round < 4; ++round) {
    const long before = balance();
    {
      Crowd crowd(calls);
      for (const auto& item : crowd.items) item->other = round;
      switch (round) {
        case 1:
          crowd.items.clear();
          break;
        case 2:
          crowd.monitors.clear();
          crowd.observations.clear();
          break;
        case 3:
          crowd.observations.clear();
          crowd.items.clear();
          crowd.monitors.clear();
          break;
        default:
          break;
      }
    }
    EXPECT_EQ(calls.use_count(), 1);
    if (round > 0) EXPECT_EQ(balance(), before) << round;
  }
}

}  // namespace
}  // namespace Tessaly
