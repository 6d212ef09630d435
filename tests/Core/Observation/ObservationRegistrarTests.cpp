// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tessaly/Core/Observation/ObservationRegistrar.hpp"
#include "Tessaly/Core/Observation/ObservationTracking.hpp"
#include "tests/Support/Allocations.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using Tests::allocationsOf;

class Person {
 public:
  const std::string& name() const {
    registrar_.access(*this, keyPath<&Person::name>);
    return name_;
  }
  void setName(std::string name) {
    registrar_.withMutation(*this, keyPath<&Person::name>, [&] { name_ = std::move(name); });
  }
  int age() const {
    registrar_.access(*this, keyPath<&Person::age>);
    return age_;
  }
  void setAge(int age) {
    registrar_.willSet(*this, keyPath<&Person::age>);
    age_ = age;
    registrar_.didSet(*this, keyPath<&Person::age>);
  }
  ObservationRegistrar& registrar() { return registrar_; }

 private:
  std::string name_ = "Ada";
  int age_ = 36;
  ObservationRegistrar registrar_;
};

TEST(ObservationRegistrar, CallsTrackersBeforeTheChange) {
  Person person;
  std::vector<std::string> seen;
  withObservationTracking([&] { static_cast<void>(person.name()); }, [&] { seen.push_back(person.name()); });
  person.setAge(37);
  EXPECT_THAT(seen, ElementsAre());
  person.setName("Grace");
  EXPECT_THAT(seen, ElementsAre("Ada"));
  EXPECT_EQ(person.name(), "Grace");
}

TEST(ObservationRegistrar, DistinguishesItsProperties) {
  Person person;
  int names = 0;
  int ages = 0;
  withObservationTracking([&] { return person.name(); }, [&] { ++names; });
  withObservationTracking([&] { return person.age(); }, [&] { ++ages; });
  person.setAge(40);
  EXPECT_EQ(names, 0);
  EXPECT_EQ(ages, 1);
  person.setName("x");
  EXPECT_EQ(names, 1);
  EXPECT_EQ(ages, 1);
}

TEST(ObservationRegistrar, AnnouncesTheEndOfAThrowingMutation) {
  Person person;
  const auto mutate = [&] {
    person.registrar().withMutation(person, keyPath<&Person::name>, [&] {
      // The property is tracked during its change, so the handler is called after the change.
      withObservationTracking([&] { return person.name(); }, [&] { person.setAge(99); });
      throw std::runtime_error("no");
    });
  };
  EXPECT_THROW(mutate(), std::runtime_error);
  EXPECT_EQ(person.age(), 99);
}

TEST(ObservationRegistrar, GivesTheResultOfTheBody) {
  Person person;
  int value = 1;
  int& result = person.registrar().withMutation(person, keyPath<&Person::age>, [&]() -> int& { return value; });
  EXPECT_EQ(&result, &value);
}

TEST(ObservationRegistrar, CountsAMutationThatBeganBeforeTracking) {
  Person person;
  int changes = 0;
  person.registrar().willSet(person, keyPath<&Person::age>);
  withObservationTracking([&] { return person.age(); }, [&] { ++changes; });
  person.registrar().didSet(person, keyPath<&Person::age>);
  EXPECT_EQ(changes, 1);
}

TEST(ObservationRegistrar, CountsItsEndAsAChangeOfEveryTrackedProperty) {
  auto person = std::make_unique<Person>();
  int names = 0;
  int both = 0;
  withObservationTracking([&] { return person->name(); }, [&] { ++names; });
  withObservationTracking(
      [&] {
        person->name();
        person->age();
      },
      [&] { ++both; });
  person.reset();
  EXPECT_EQ(names, 1);
  EXPECT_EQ(both, 1);
}

TEST(ObservationRegistrar, AllocatesNothingWithoutTracking) {
  Person person;
  EXPECT_EQ(allocationsOf([&] {
              static_cast<void>(person.age());
              person.setAge(1);
            }),
            0);
  EXPECT_EQ(sizeof(ObservationRegistrar), sizeof(void*));
}

}  // namespace
}  // namespace Tessaly
