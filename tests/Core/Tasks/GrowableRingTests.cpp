// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <random>
#include <utility>

#include "Tessaly/Core/Tasks/detail/GrowableRing.hpp"

namespace Tessaly {
namespace {

using detail::GrowableRing;

TEST(GrowableRing, IsEmptyAtFirst) {
  const GrowableRing<int> ring;
  EXPECT_TRUE(ring.isEmpty());
  EXPECT_EQ(ring.count(), 0u);
}

TEST(GrowableRing, GivesItsElementsBackInOrderWhileItGrowsWithItsEndBeforeItsBeginning) {
  GrowableRing<int> ring;
  for (int i = 0; i < 6; ++i) ring.append(std::move(i));
  for (int i = 0; i < 5; ++i) EXPECT_EQ(ring.takeFront(), i);
  for (int i = 6; i < 100; ++i) ring.append(int(i));
  EXPECT_EQ(ring.count(), 95u);
  for (int i = 5; i < 100; ++i) EXPECT_EQ(ring.takeFront(), i);
  EXPECT_TRUE(ring.isEmpty());
}

TEST(GrowableRing, BehavesAsADequeUnderRandomUse) {
  std::mt19937_64 random(7);
  GrowableRing<std::unique_ptr<int>> ring;
  std::deque<int> expected;
  for (int i = 0; i < 20'000; ++i) {
    // Long runs of one kind make it both grow and wrap around.
    if (random() % 1'000 < static_cast<unsigned long>(500 + 3 * (i / 100 % 100))) {
      ring.append(std::make_unique<int>(i));
      expected.push_back(i);
    } else if (!expected.empty()) {
      ASSERT_EQ(*ring.takeFront(), expected.front());
      expected.pop_front();
    }
    ASSERT_EQ(ring.count(), expected.size());
    ASSERT_EQ(ring.isEmpty(), expected.empty());
  }
  ASSERT_FALSE(expected.empty());
}

TEST(GrowableRing, DestroysWhatIsTakenAtOnceAndWhatIsLeftAtItsEnd) {
  const auto witness = std::make_shared<int>(1);
  {
    GrowableRing<std::shared_ptr<int>> ring;
    for (int i = 0; i < 20; ++i) ring.append(std::shared_ptr<int>(witness));
    EXPECT_EQ(witness.use_count(), 21);
    for (int i = 0; i < 5; ++i) static_cast<void>(ring.takeFront());
    EXPECT_EQ(witness.use_count(), 16);
  }
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(GrowableRing, SwapsItsContents) {
  GrowableRing<int> first;
  GrowableRing<int> second;
  for (int i = 0; i < 10; ++i) first.append(int(i));
  first.swap(second);
  EXPECT_TRUE(first.isEmpty());
  EXPECT_EQ(second.count(), 10u);
  first.append(7);
  EXPECT_EQ(first.takeFront(), 7);
  EXPECT_EQ(second.takeFront(), 0);
}

struct alignas(128) Wide {
  explicit Wide(int number) : number(number) {}
  Wide(Wide&& other) noexcept : number(other.number), isAligned(other.isAligned && isOnItsBoundary()) {}
  [[nodiscard]] bool isOnItsBoundary() const { return reinterpret_cast<std::uintptr_t>(this) % alignof(Wide) == 0; }

  int number;
  bool isAligned = true;
};

TEST(GrowableRing, KeepsOverAlignedElementsOnTheirBoundaries) {
  GrowableRing<Wide> ring;
  for (int i = 0; i < 20; ++i) ring.append(Wide(i));
  for (int i = 0; i < 20; ++i) {
    const Wide element = ring.takeFront();
    EXPECT_EQ(element.number, i);
    EXPECT_TRUE(element.isAligned);
  }
}

}  // namespace
}  // namespace Tessaly
