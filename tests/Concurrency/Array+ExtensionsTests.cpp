// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "Tessaly/Concurrency/Array+Extensions.hpp"
#include "Tessaly/Core/Observation/Property.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Person {
  std::string name;
  int age;
  [[nodiscard]] std::size_t nameLength() const { return name.size(); }
  friend bool operator==(const Person&, const Person&) = default;
};

TEST(ArrayExtensions, RemoveDuplicatesKeepsFirstOccurrencesInOrder) {
  EXPECT_THAT(Array::removeDuplicates(std::vector{3, 1, 3, 2, 1, 3}), ElementsAre(3, 1, 2));
  EXPECT_THAT(Array::removeDuplicates(std::vector<int>()), IsEmpty());
  EXPECT_THAT(Array::removeDuplicates(std::vector<std::string>{"a", "b", "a"}), ElementsAre("a", "b"));
  const std::vector numbers{1, 1};
  EXPECT_THAT(Array::removeDuplicates(numbers), ElementsAre(1));
  EXPECT_THAT(numbers, ElementsAre(1, 1));
}

TEST(ArrayExtensions, RemoveDuplicatesByKeyPathKeepsTheFirst) {
  const std::vector<Person> people{{"Ada", 1}, {"Bob", 2}, {"Ada", 3}, {"Eve", 2}};
  EXPECT_THAT(Array::removeDuplicates(people, &Person::name),
              ElementsAre(Person{"Ada", 1}, Person{"Bob", 2}, Person{"Eve", 2}));
  EXPECT_THAT(Array::removeDuplicates(people, &Person::age),
              ElementsAre(Person{"Ada", 1}, Person{"Bob", 2}, Person{"Ada", 3}));
  EXPECT_THAT(Array::removeDuplicates(people, &Person::nameLength), ElementsAre(Person{"Ada", 1}));
  EXPECT_THAT(Array::removeDuplicates(people, [](const Person& person) { return person.age % 2; }),
              ElementsAre(Person{"Ada", 1}, Person{"Bob", 2}));
}

TEST(ArrayExtensions, RemoveDuplicatesTakesAKeyPath) {
  const std::vector<Person> people{{"Ada", 1}, {"Bob", 2}, {"Ada", 3}};
  EXPECT_THAT(Array::removeDuplicates(people, keyPath<&Person::name>), ElementsAre(Person{"Ada", 1}, Person{"Bob", 2}));
}

TEST(ArrayExtensions, UnsubscribeEndsEveryObservationAndEmptiesTheArray) {
  struct Player {
    Property<int> volume = 50;
  };
  const auto player = std::make_shared<Player>();
  int told = 0;
  std::vector<NSKeyValueObservation> observations;
  for (int i = 0; i < 3; ++i) {
    observations.push_back(
        observe(player, keyPath<&Player::volume>, NSKeyValueObservingOptions::new_, [&](const auto&) { ++told; }));
  }
  player->volume = 1;
  EXPECT_EQ(told, 3);
  Array::unsubscribe(observations);
  player->volume = 2;
  EXPECT_EQ(told, 3);
  EXPECT_TRUE(observations.empty());
  EXPECT_EQ(observations.capacity(), 0u);
  Array::unsubscribe(observations);
}

TEST(ArrayExtensions, MakeCopiesElementsFromAnAddressOnward) {
  std::array numbers{1, 2, 3, 4};
  const std::vector<int> copy = Array::make(numbers.data() + 1, 2);
  numbers[1] = 9;
  EXPECT_THAT(copy, ElementsAre(2, 3));
  EXPECT_THAT(Array::make(numbers.data(), 0), IsEmpty());
  EXPECT_THAT(Array::make(static_cast<const int*>(nullptr), 0), IsEmpty());
  const std::array<std::string, 2> texts{"a", "b"};
  EXPECT_THAT(Array::make(texts.data(), 2), ElementsAre("a", "b"));
}

TEST(ArrayExtensionsDeathTest, ANegativeCountStopsTheProcess) {
  const int number = 1;
  EXPECT_EXIT(static_cast<void>(Array::make(&number, -1)), testing::KilledBySignal(SIGABRT),
              "Tessaly/Array\\+Extensions:[0-9]+: Fatal error: An array cannot hold a negative number of elements\n");
}

}  // namespace
}  // namespace Tessaly
