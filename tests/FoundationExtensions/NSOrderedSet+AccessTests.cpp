// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "Tessaly/Core/Foundation/NSMutableOrderedSet.hpp"
#include "Tessaly/FoundationExtensions/NSOrderedSet+Access.hpp"

namespace {

using namespace Tessaly;

class Row final : public Object {
 public:
  explicit Row(int number) : number(number) {}
  int number;
};

TEST(OrderedSetIfPresent, IsAbsentFromTheCountOn) {
  const NSOrderedSet<std::string> letters{"A", "B", "C", "D", "E"};
  EXPECT_EQ(ifPresent(letters, 0), "A");
  EXPECT_EQ(ifPresent(letters, 4), "E");
  EXPECT_EQ(ifPresent(letters, 5), std::nullopt);
  EXPECT_EQ(ifPresent(letters, NSNotFound), std::nullopt);
  EXPECT_EQ(ifPresent(NSMutableOrderedSet<int>(), 0), std::nullopt);
}

TEST(OrderedSetIfPresent, DoesNotGuardANegativeIndex) {
  EXPECT_THROW(static_cast<void>(ifPresent(NSOrderedSet<int>{1, 2}, -1)), std::out_of_range);
}

TEST(OrderedSetFirstIndex, IsAbsentForAMissingElement) {
  NSMutableOrderedSet<std::string> letters{"A", "B", "C"};
  EXPECT_EQ(firstIndex(letters, "B"), 1);
  EXPECT_EQ(firstIndex(letters, "D"), std::nullopt);
  letters.moveObject(1, 0);
  EXPECT_EQ(firstIndex(letters, "B"), 0);
  EXPECT_EQ(firstIndex(letters, "A"), 1);
}

TEST(OrderedSetUnsafeDowncastObject, CastsTheObjectToItsClass) {
  const NSOrderedSet<> rows{std::make_shared<Row>(7), std::make_shared<Row>(8)};
  EXPECT_EQ(unsafeDowncastObject<Row>(rows, 1)->number, 8);
  EXPECT_EQ(unsafeDowncastObject(rows, 0, Type<Row>())->number, 7);
  EXPECT_EQ(std::shared_ptr<Object>(unsafeDowncastObject<Row>(rows, 1)), rows.object(1));
  EXPECT_THROW(static_cast<void>(unsafeDowncastObject<Row>(rows, 2)), std::out_of_range);
}

}  // namespace
