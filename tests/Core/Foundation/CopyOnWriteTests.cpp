// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/CopyOnWrite.hpp"

namespace Tessaly::inline v1 {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Numbers = std::vector<int>;

static_assert(std::is_nothrow_copy_constructible_v<CopyOnWrite<Numbers>>);
static_assert(std::is_nothrow_move_constructible_v<CopyOnWrite<Numbers>>);

TEST(CopyOnWrite, WriteDoesNotChangeACopy) {
  CopyOnWrite<Numbers> numbers(Numbers{1, 2});
  const CopyOnWrite<Numbers> before = numbers;
  numbers.modify().push_back(3);
  EXPECT_THAT(before.read(), ElementsAre(1, 2));
  EXPECT_THAT(numbers.read(), ElementsAre(1, 2, 3));
}

TEST(CopyOnWrite, TheOnlyHolderWritesInPlace) {
  CopyOnWrite<Numbers> numbers(Numbers{1});
  const Numbers* address = &numbers.read();
  EXPECT_TRUE(numbers.isUnique());
  EXPECT_EQ(&numbers.modify(), address);
  {
    const CopyOnWrite<Numbers> copy = numbers;
    EXPECT_FALSE(numbers.isUnique());
    EXPECT_TRUE(numbers.isIdentical(copy));
  }
  EXPECT_TRUE(numbers.isUnique());
  EXPECT_EQ(&numbers.modify(), address);
}

TEST(CopyOnWrite, DefaultConstructedOneReadsAsADefaultValue) {
  CopyOnWrite<Numbers> numbers;
  EXPECT_THAT(numbers.read(), IsEmpty());
  numbers.modify().push_back(1);
  EXPECT_THAT(numbers.read(), ElementsAre(1));
  EXPECT_THAT(CopyOnWrite<Numbers>().read(), IsEmpty());
}

TEST(CopyOnWrite, MovedFromOneReadsAsADefaultValue) {
  CopyOnWrite<Numbers> numbers(Numbers{1, 2});
  CopyOnWrite<Numbers> moved = std::move(numbers);
  EXPECT_THAT(moved.read(), ElementsAre(1, 2));
  EXPECT_THAT(numbers.read(), IsEmpty());  // NOLINT(bugprone-use-after-move)
  numbers.modify().push_back(5);
  EXPECT_THAT(numbers.read(), ElementsAre(5));
  numbers = moved;
  EXPECT_TRUE(numbers.isIdentical(moved));
}

TEST(CopyOnWrite, AssigningToItselfKeepsTheValue) {
  CopyOnWrite<Numbers> numbers(Numbers{1});
  const auto& same = numbers;
  numbers = same;
  EXPECT_THAT(numbers.read(), ElementsAre(1));
  EXPECT_TRUE(numbers.isUnique());
}

struct ThrowsWhenCopied {
  ThrowsWhenCopied() = default;
  ThrowsWhenCopied(const ThrowsWhenCopied& other) : number(other.number) {
    if (isThrowing) throw 1;
  }
  int number = 0;
  static inline bool isThrowing = false;
};

TEST(CopyOnWrite, AFailedCopyLeavesTheValueShared) {
  CopyOnWrite<ThrowsWhenCopied> value;
  value.modify().number = 7;
  const auto copy = value;
  ThrowsWhenCopied::isThrowing = true;
  EXPECT_THROW(value.modify().number = 8, int);
  ThrowsWhenCopied::isThrowing = false;
  EXPECT_TRUE(value.isIdentical(copy));
  EXPECT_EQ(value.read().number, 7);
}

TEST(CopyOnWrite, HoldersInSeveralThreadsReadAndWriteWithoutARace) {
  for (int round = 0; round < 300; ++round) {
    CopyOnWrite<Numbers> numbers(Numbers{1, 2, 3});
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back([own = numbers, i]() mutable {
        EXPECT_EQ(own.read().size(), 3u);
        own.modify().push_back(i);
        EXPECT_THAT(own.read(), ElementsAre(1, 2, 3, i));
      });
    }
    numbers.modify()[0] = 9;
    for (auto& thread : threads) thread.join();
    EXPECT_THAT(numbers.read(), ElementsAre(9, 2, 3));
  }
}

}  // namespace
}  // namespace Tessaly::inline v1
