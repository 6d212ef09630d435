// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <list>
#include <memory>
#include <random>
#include <ranges>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "FIFOModel.hpp"
#include "Tessaly/Collections/FIFOStack.hpp"
#include "tests/Support/Allocations.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(FIFOStack, KeepsTheOrderOfElements) {
  FIFOStack<int> queue;
  for (const int element : {1, 2, 3}) queue.enqueue(element);
  for (const int element : {1, 2, 3}) EXPECT_EQ(queue.dequeue(), element);
  EXPECT_EQ(queue.dequeue(), std::nullopt);
  EXPECT_TRUE(queue.isEmpty());
}

TEST(FIFOStack, KeepsTheOrderWhenAddingAndTakingAlternate) {
  FIFOStack<int> queue;
  int next = 0;
  int expected = 0;
  for (int round = 0; round < 100; ++round) {
    for (int i = 0; i < round % 7; ++i) queue.enqueue(next++);
    for (int i = 0; i < round % 5; ++i) {
      if (auto element = queue.dequeue()) {
        EXPECT_EQ(*element, expected++);
      }
    }
  }
  while (auto element = queue.dequeue()) EXPECT_EQ(*element, expected++);
  EXPECT_EQ(expected, next);
}

TEST(FIFOStack, RemoveAllReturnsElementsInStorageOrder) {
  FIFOStack<int> queue;
  for (const int element : {1, 2, 3}) queue.enqueue(element);
  EXPECT_EQ(queue.dequeue(), 1);
  queue.enqueue(4);
  EXPECT_THAT(queue.removeAll(), ElementsAre(3, 2, 4));
  EXPECT_TRUE(queue.isEmpty());
  EXPECT_EQ(queue.dequeue(), std::nullopt);
  EXPECT_THAT(queue.removeAll(), IsEmpty());
  queue.enqueue(5);
  queue.enqueue(6);
  EXPECT_THAT(queue.removeAll(), ElementsAre(5, 6));
}

TEST(FIFOStack, IsNotEmptyWhileEitherStackHoldsAnElement) {
  FIFOStack<int> queue;
  EXPECT_TRUE(queue.isEmpty());
  queue.enqueue(1);
  EXPECT_FALSE(queue.isEmpty());  // The element is in the right stack.
  queue.enqueue(2);
  queue.dequeue();
  EXPECT_FALSE(queue.isEmpty());  // The element is in the left stack.
  queue.dequeue();
  EXPECT_TRUE(queue.isEmpty());
}

TEST(FIFOStack, EnqueuesAnyRange) {
  FIFOStack<std::string> queue;
  queue.enqueue("0");
  queue.enqueueContentsOf(std::vector<std::string>{"1", "2"});
  queue.enqueueContentsOf(std::list<std::string>{"3"});
  queue.enqueueContentsOf(std::views::iota(4, 6) | std::views::transform([](int i) { return std::to_string(i); }));
  queue.enqueueContentsOf(std::vector<std::string>());
  for (int i = 0; i < 6; ++i) EXPECT_EQ(queue.dequeue(), std::to_string(i));
  EXPECT_TRUE(queue.isEmpty());
}

TEST(FIFOStack, EnqueuesAListInBraces) {
  FIFOStack<int> queue;
  queue.enqueueContentsOf({1, 2, 3});
  queue.enqueueContentsOf({});
  EXPECT_EQ(queue.removeAll(), (std::vector{1, 2, 3}));
}

TEST(FIFOStack, HoldsElementsThatCannotBeAssigned) {
  struct Fixed {
    const int number;
  };
  static_assert(!std::is_move_assignable_v<Fixed>);
  FIFOStack<Fixed> queue;
  for (int i = 0; i < 10; ++i) queue.enqueue({i});
  FIFOStack<Fixed> copy = queue;
  EXPECT_EQ(copy.dequeue()->number, 0);
  copy.enqueue(Fixed{10});
  for (int i = 1; i <= 10; ++i) EXPECT_EQ(copy.dequeue()->number, i);
  EXPECT_EQ(queue.removeAll().size(), 10u);
}

TEST(FIFOStack, ThrowingRangeLeavesItsReadElements) {
  FIFOStack<int> queue;
  EXPECT_THROW(queue.enqueueContentsOf(std::views::iota(0, 5) | std::views::transform([](int i) {
                                         return i == 3 ? throw std::runtime_error("range") : i;
                                       })),
               std::runtime_error);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(queue.dequeue(), i);
  EXPECT_TRUE(queue.isEmpty());
}

TEST(FIFOStack, HoldsElementsThatCanOnlyBeMoved) {
  FIFOStack<std::unique_ptr<int>> queue;
  static_assert(!std::copy_constructible<decltype(queue)> && std::movable<decltype(queue)>);
  for (int i = 0; i < 3; ++i) queue.enqueue(std::make_unique<int>(i));
  EXPECT_EQ(**queue.dequeue(), 0);
  auto moved = std::move(queue);
  EXPECT_TRUE(queue.isEmpty());  // NOLINT: a moved-from queue is empty.
  EXPECT_EQ(*moved.removeAll().front(), 2);
}

TEST(FIFOStack, CopiesShareTheirElementsUntilOneIsWritten) {
  FIFOStack<std::string> queue;
  queue.enqueue("1");
  queue.enqueue("2");
  FIFOStack<std::string> copy;
  EXPECT_EQ(Tests::allocationsOf([&] { copy = queue; }), 0);
  EXPECT_EQ(copy.dequeue(), "1");
  copy.enqueue("3");
  queue.enqueue("4");
  EXPECT_THAT(copy.removeAll(), ElementsAre("2", "3"));
  EXPECT_THAT(queue.removeAll(), ElementsAre("1", "2", "4"));
  EXPECT_THAT(copy.removeAll(), IsEmpty());
}

TEST(FIFOStack, CopiesMayBeUsedInDifferentThreads) {
  FIFOStack<std::string> queue;
  queue.enqueue("a");
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([copy = queue]() mutable {
      for (int j = 0; j < 1'000; ++j) {
        FIFOStack<std::string> another = copy;
        another.enqueue("b");
        EXPECT_EQ(another.dequeue(), "a");
        EXPECT_FALSE(copy.isEmpty());
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(queue.removeAll(), ElementsAre("a"));
}

TEST(FIFOStack, ThreadsMayCopyAnUnchangedOneAtOnce) {
  FIFOStack<std::string> queue;
  queue.enqueueContentsOf(std::vector<std::string>{"a", "b", "c"});
  queue.dequeue();
  for (int round = 0; round < 100; ++round) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
      threads.emplace_back([&queue = std::as_const(queue)] {
        FIFOStack<std::string> copy = queue;
        copy.enqueue("d");
        EXPECT_EQ(copy.dequeue(), "b");
      });
    }
    for (auto& thread : threads) thread.join();
    queue.enqueue("d");  // The queue is the only owner again.
    EXPECT_EQ(queue.dequeue(), "b");
    EXPECT_THAT(queue.removeAll(), ElementsAre("c", "d"));
    queue.enqueueContentsOf(std::vector<std::string>{"a", "b", "c"});
    queue.dequeue();
  }
}

/// Counts its copies, and throws at one of them.
struct Counted {
  explicit Counted(int number) : number(number) {}
  Counted(const Counted& other) : number(other.number) {
    ++copies();
    if (countdown() > 0 && --countdown() == 0) throw std::runtime_error("counted");
  }
  Counted(Counted&& other) noexcept : number(std::exchange(other.number, -1)) {}
  Counted& operator=(const Counted&) = default;
  static int& copies() {
    static int count = 0;
    return count;
  }
  static int& countdown() {
    static int value = 0;
    return value;
  }
  int number;
};

TEST(FIFOStack, CopiesNothingAfterTheOtherOwnersEnded) {
  FIFOStack<Counted> queue;
  for (int i = 0; i < 5; ++i) queue.enqueue(Counted(i));
  EXPECT_EQ(queue.dequeue()->number, 0);
  queue.enqueue(Counted(5));
  {
    const FIFOStack<Counted> copy = queue;
  }
  for (int i = 1; i < 6; ++i) EXPECT_EQ(queue.dequeue()->number, i);
  EXPECT_EQ(Counted::copies(), 0);
}

TEST(FIFOStack, CopiesOnlyTheChangedStack) {
  FIFOStack<Counted> queue;
  for (int i = 0; i < 5; ++i) queue.enqueue(Counted(i));
  queue.dequeue();
  queue.enqueue(Counted(5));
  FIFOStack<Counted> copy = queue;
  copy.enqueue(Counted(6));
  EXPECT_EQ(Counted::copies(), 1);
  EXPECT_EQ(copy.dequeue()->number, 1);
  EXPECT_EQ(Counted::copies(), 5);
  EXPECT_EQ(queue.dequeue()->number, 1);
  EXPECT_EQ(Counted::copies(), 5);
}

TEST(FIFOStack, ThrowingCopyLeavesBothOwnersUnchanged) {
  for (int step = 1; step <= 3; ++step) {
    FIFOStack<Counted> queue;
    for (int i = 0; i < 3; ++i) queue.enqueue(Counted(i));
    FIFOStack<Counted> copy = queue;
    Counted::countdown() = step;
    EXPECT_THROW(copy.dequeue(), std::runtime_error);  // The first change of a shared stack copies it.
    Counted::countdown() = step;
    EXPECT_THROW(copy.enqueue(Counted(3)), std::runtime_error);
    Counted::countdown() = step;
    EXPECT_THROW(copy.removeAll(), std::runtime_error);
    Counted::countdown() = 0;
    for (FIFOStack<Counted>* each : {&queue, &copy}) {
      for (int i = 0; i < 3; ++i) EXPECT_EQ(each->dequeue()->number, i);
      EXPECT_TRUE(each->isEmpty());
    }
  }
}

TEST(FIFOStack, RightStackBeginsAsLargeAsTheLeftOne) {
  FIFOStack<std::int64_t> queue;
  for (int i = 0; i < 1'000; ++i) queue.enqueue(i);
  queue.dequeue();
  EXPECT_EQ(Tests::allocationsOf([&] { queue.enqueue(1'000); }), 1);
  EXPECT_EQ(Tests::allocationsOf([&] {
              for (int i = 0; i < 500; ++i) queue.enqueue(i);
            }),
            0);
}

TEST(FIFOStack, KeepsMemoryOfRepeatedBatches) {
  FIFOStack<std::int64_t> queue;
  const auto pass = [&](int count) {
    for (int i = 0; i < count; ++i) queue.enqueue(i);
    for (int i = 0; i < count; ++i) queue.dequeue();
  };
  pass(1'000);
  EXPECT_EQ(Tests::allocationsOf([&] {
              for (int i = 0; i < 10; ++i) pass(1'000);
            }),
            0);
  // A small batch shows that the memory is too large. It is freed when the next batch begins.
  pass(10);
  EXPECT_GT(Tests::allocationsOf([&] { pass(1'000); }), 0);
}

TEST(FIFOStack, KeepsEveryElementWhenAMoveThrows) {
  struct Reluctant {
    explicit Reluctant(int number) : number(number) {}
    Reluctant(const Reluctant& other) : number(other.number) {
      if (countdown() > 0 && --countdown() == 0) throw std::runtime_error("reluctant");
    }
    Reluctant& operator=(const Reluctant&) = default;
    static int& countdown() {
      static int value = 0;
      return value;
    }
    int number;
  };
  for (int step = 1; step <= 5; ++step) {
    FIFOStack<Reluctant> queue;
    for (int i = 0; i < 4; ++i) queue.enqueue(Reluctant(i));
    Reluctant::countdown() = step;
    EXPECT_THROW(queue.enqueue(Reluctant(4)), std::runtime_error);  // The stack grows, and then takes the element.
    Reluctant::countdown() = 1;
    EXPECT_THROW(queue.dequeue(), std::runtime_error);
    Reluctant::countdown() = 0;
    for (int i = 0; i < 4; ++i) EXPECT_EQ(queue.dequeue()->number, i);
    EXPECT_TRUE(queue.isEmpty());
  }
}

TEST(FIFOStack, MovesElementsOnlyWhenAStackGrows) {
  struct Large {
    explicit Large(int number) : number(number) {}
    Large(const Large&) = default;
    Large(Large&& other) noexcept : number(other.number) { ++moves(); }
    Large& operator=(const Large&) = default;
    static int& moves() {
      static int count = 0;
      return count;
    }
    int number;
    std::array<char, 4'096> bytes{};
  };
  FIFOStack<Large> queue;
  for (int i = 0; i < 100; ++i) queue.enqueue(Large(i));
  // Each enters by one move. Stacks of 4, 8, 16, 32 and 64 elements grew.
  EXPECT_EQ(Large::moves(), 100 + 124);
  EXPECT_EQ(queue.dequeue()->number, 0);
  EXPECT_LE(Large::moves(), 100 + 124 + 2);
  queue = FIFOStack<Large>();
  for (int i = 0; i < 100; ++i) queue.enqueue(Large(i));
  FIFOStack<Large> copy = queue;
  for (int i = 0; i < 50; ++i) EXPECT_EQ(queue.dequeue()->number, i);
  EXPECT_EQ(copy.dequeue()->number, 0);
  EXPECT_EQ(queue.removeAll().back().number, 50);
  EXPECT_EQ(copy.removeAll().size(), 99u);
}

TEST(FIFOStack, DestroysElementsWhenTheyLeave) {
  auto value = std::make_shared<int>(1);
  FIFOStack<std::shared_ptr<int>> queue;
  for (int i = 0; i < 3; ++i) queue.enqueue(value);
  EXPECT_EQ(value.use_count(), 4);
  queue.dequeue();
  EXPECT_EQ(value.use_count(), 3);
  queue.removeAll();
  EXPECT_EQ(value.use_count(), 1);
}

TEST(FIFOStack, AllocatesNothingForAFewElementsAtATime) {
  FIFOStack<std::int64_t> queue;
  const auto pass = [&] {
    for (int i = 0; i < 16; ++i) queue.enqueue(i);
    while (queue.dequeue()) {
    }
  };
  pass();
  pass();
  EXPECT_EQ(Tests::allocationsOf([&] {
              for (int i = 0; i < 100; ++i) pass();
            }),
            0);
}

TEST(FIFOStack, MillionRandomOperationsFollowTheModel) {
  std::mt19937_64 random(21);
  FIFOStack<int> queue;
  FIFOStack<int> copy;
  Tests::FIFOModel<int> model;
  Tests::FIFOModel<int> modelOfCopy;
  for (int step = 0; step < 1'100'000; ++step) {
    switch (random() % 100) {
      default:
        queue.enqueue(step);
        model.enqueue(step);
        break;
      case 40 ... 89:
        ASSERT_EQ(queue.dequeue(), model.dequeue());
        break;
      case 90:
      case 91: {
        const std::vector<int> some(random() % 5, step);
        queue.enqueueContentsOf(some);
        model.enqueueContentsOf(some);
        break;
      }
      case 92:
        if (random() % 20 == 0) {
          ASSERT_EQ(queue.removeAll(), model.removeAll());
        }
        break;
      case 93:
        copy = queue;
        modelOfCopy = model;
        break;
      case 94:
        std::swap(queue, copy);
        std::swap(model, modelOfCopy);
        break;
    }
    ASSERT_EQ(queue.isEmpty(), model.isEmpty()) << step;
  }
  EXPECT_EQ(queue.removeAll(), model.removeAll());
  EXPECT_EQ(copy.removeAll(), modelOfCopy.removeAll());
}

}  // namespace
}  // namespace Tessaly
