// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdint>
#include <limits>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <ranges>
#include <set>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "RingModel.hpp"
#include "Tessaly/Collections/RingArray.hpp"
#include "tests/Support/Allocations.hpp"
#include "tests/Support/GroupingLocale.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::KilledBySignal;
using testing::MatchesRegex;
using Index = RingArrayIndex;

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

constexpr auto notFull =
    "Tessaly/RingArray:62: Fatal error: Ring array shifting may only be triggered when the array is full\n";
constexpr auto outOfRange = "Tessaly/RingArray:[0-9]+: Fatal error: Index out of range\n";
constexpr auto overflow = "Tessaly/RingArray:[0-9]+: Fatal error: Arithmetic overflow\n";
constexpr auto negativeCapacity =
    "Tessaly/RingArray:[0-9]+: Fatal error: The capacity of a ring array must not be negative\n";

#define EXPECT_STOPS(statement, text) EXPECT_EXIT(statement, KilledBySignal(SIGABRT), MatchesRegex(text))

template <typename Element = int>
RingArray<Element> ringOf(std::int64_t capacity, std::initializer_list<Element> elements) {
  RingArray<Element> ring(capacity);
  for (const Element& element : elements) ring.append(element);
  return ring;
}

// Counts its live objects, and throws on request.
struct Witness {
  explicit Witness(int number) : number(number) { ++living; }
  Witness(const Witness& other) : number(other.number) {
    if (copiesUntilThrow > 0 && --copiesUntilThrow == 0) throw std::runtime_error("no more copies");
    ++living;
    ++copies;
  }
  Witness(Witness&& other) noexcept : number(std::exchange(other.number, -1)) { ++living; }
  Witness& operator=(const Witness&) = default;
  Witness& operator=(Witness&&) = default;
  ~Witness() {
    --living;
    if (number >= 0) ended.push_back(number);
  }
  friend bool operator==(const Witness&, const Witness&) = default;

  int number;
  static inline int living = 0;
  static inline int copies = 0;
  static inline int copiesUntilThrow = 0;
  static inline std::vector<int> ended;
};

std::vector<int> numbersOf(const RingArray<Witness>& ring) {
  std::vector<int> numbers;
  for (const Witness& witness : ring) numbers.push_back(witness.number);
  return numbers;
}

TEST(RingArray, AppendingReturnsNothingUntilTheRingIsFull) {
  RingArray<int> ring(3);
  for (const int element : {1, 2, 3}) EXPECT_EQ(ring.append(element), std::nullopt);
  EXPECT_THAT(ring, ElementsAre(1, 2, 3));
  EXPECT_TRUE(ring.isFull());
}

TEST(RingArray, AppendToFullRingReturnsTheFirstElement) {
  RingArray<int> ring = ringOf(3, {1, 2, 3});
  EXPECT_EQ(ring.append(4), 1);
  EXPECT_THAT(ring, ElementsAre(2, 3, 4));
  EXPECT_EQ(ring.startIndex(), (Index{1, 0}));
  EXPECT_EQ(ring.endIndex(), (Index{1, 1}));
}

TEST(RingArray, PrependToFullRingReturnsTheLastElement) {
  RingArray<int> ring = ringOf(3, {1, 2, 3, 4});
  EXPECT_EQ(ring.prepend(0), 4);
  EXPECT_THAT(ring, ElementsAre(0, 2, 3));
  EXPECT_EQ(ring.startIndex(), (Index{0, 0}));
  EXPECT_EQ(ring.endIndex(), (Index{0, 1}));
}

TEST(RingArray, PrependToEmptyRingUsesTheLastSlot) {
  RingArray<int> ring(3);
  EXPECT_EQ(ring.prepend(7), std::nullopt);
  EXPECT_EQ(ring.startIndex(), (Index{2, -1}));
  EXPECT_EQ(ring.endIndex(), (Index{0, 0}));
  EXPECT_EQ(ring[0], 7);
  EXPECT_EQ((ring[Index{2, -1}]), 7);
}

TEST(RingArray, PopsFromBothEnds) {
  RingArray<int> ring = ringOf(3, {1, 2, 3, 4});
  EXPECT_EQ(ring.popFirst(), 2);
  EXPECT_EQ(ring.popLast(), 4);
  EXPECT_THAT(ring, ElementsAre(3));
  EXPECT_EQ(ring.popFirst(), 3);
  EXPECT_EQ(ring.popFirst(), std::nullopt);
  EXPECT_EQ(ring.popLast(), std::nullopt);
  EXPECT_TRUE(ring.isEmpty());
  EXPECT_EQ(ring.startIndex(), (Index{0, 1}));
}

TEST(RingArray, RingWithoutSlotsIsEmptyAndFull) {
  for (RingArray<int> ring : {RingArray<int>::empty(), RingArray<int>(0)}) {
    EXPECT_EQ(ring.maxCapacity(), 0);
    EXPECT_TRUE(ring.isFull());
    EXPECT_TRUE(ring.isEmpty());
    EXPECT_EQ(ring.append(1), std::nullopt);
    EXPECT_EQ(ring.prepend(1), std::nullopt);
    EXPECT_EQ(ring.popFirst(), std::nullopt);
    EXPECT_EQ(ring.popLast(), std::nullopt);
    ring.fill(4);
    ring.removeAll();
    ring.shiftWhenFull(5);
    ring.shiftWhenFull(-5);
    ring.shiftWhenFull(least);
    EXPECT_EQ(ring, RingArray<int>::empty());
    EXPECT_EQ(ring.count(), 0);
    EXPECT_EQ(ring.begin(), ring.end());
    EXPECT_EQ(ring.description(), "[]");
    EXPECT_TRUE(ring.contiguousRuns()[0].empty());
  }
}

TEST(RingArray, FillAppendsOncePerSlot) {
  RingArray<int> ring = ringOf(3, {1, 2});
  ring.fill(9);
  EXPECT_THAT(ring, ElementsAre(9, 9, 9));
  EXPECT_EQ(ring.startIndex(), (Index{2, 0}));
  EXPECT_EQ(ring.endIndex(), (Index{2, 1}));
}

TEST(RingArray, FillAcceptsAnElementOfTheRing) {
  RingArray<std::string> ring = ringOf<std::string>(2, {"a long text that lies on the heap", "b"});
  ring.fill(ring[0]);
  EXPECT_THAT(ring, ElementsAre("a long text that lies on the heap", "a long text that lies on the heap"));
}

TEST(RingArray, RemoveAllKeepsTheStartIndex) {
  RingArray<int> ring = ringOf(3, {1, 2, 3, 4});
  ring.removeAll();
  EXPECT_TRUE(ring.isEmpty());
  EXPECT_EQ(ring.count(), 0);
  EXPECT_EQ(ring.startIndex(), ring.endIndex());
  EXPECT_EQ(ring.startIndex(), (Index{1, 0}));
}

TEST(RingArray, RemoveAllDestroysTheLastElementFirst) {
  {
    RingArray<Witness> ring(3);
    for (const int number : {1, 2, 3, 4}) ring.append(Witness(number));
    Witness::ended.clear();
    ring.removeAll();
    EXPECT_THAT(Witness::ended, ElementsAre(4, 3, 2));
  }
  EXPECT_EQ(Witness::living, 0);
}

TEST(RingArray, RemoveAllAndSetCapacityResetsPositions) {
  RingArray<int> ring = ringOf(3, {1, 2, 3, 4});
  ring.removeAllAndSetCapacity(2);
  EXPECT_EQ(ring, RingArray<int>(2));
  EXPECT_EQ(ring.startIndex(), Index{});
  ring.removeAllAndSetCapacity(0);
  EXPECT_EQ(ring, RingArray<int>::empty());
  ring.removeAllAndSetCapacity(1);
  EXPECT_EQ(ring.append(5), std::nullopt);
  EXPECT_EQ(ring.append(6), 5);
}

TEST(RingArray, ShiftingRotatesTheRing) {
  RingArray<int> ring = ringOf(3, {1, 2, 3, 4});
  const int* const address = &ring[0];
  ring.shiftWhenFull(1);
  EXPECT_THAT(ring, ElementsAre(3, 4, 2));
  EXPECT_EQ(&ring[2], address);  // No element was moved.
  ring.shiftWhenFull(-2);
  EXPECT_THAT(ring, ElementsAre(4, 2, 3));
  const RingArray<int> before = ring;
  ring.shiftWhenFull(0);
  EXPECT_EQ(ring, before);
}

TEST(RingArray, ShiftingCountsTheLoops) {
  for (std::int64_t capacity = 1; capacity <= 4; ++capacity) {
    for (std::int64_t offset = -9; offset <= 9; ++offset) {
      RingArray<int> ring(capacity);
      Tests::RingModel<int> model(capacity);
      for (int i = 0; i < 6; ++i) {
        ring.append(i);
        model.append(i);
      }
      ring.shiftWhenFull(offset);
      model.shiftWhenFull(offset);
      EXPECT_STREQ(difference(ring, model), "") << capacity << " by " << offset;
    }
  }
}

TEST(RingArray, ShiftingFarTakesNoLongerThanShiftingNear) {
  RingArray<int> ring = ringOf(2, {1, 2});
  ring.shiftWhenFull(most);
  EXPECT_THAT(ring, ElementsAre(2, 1));
  EXPECT_EQ(ring.startIndex(), (Index{1, most / 2}));
}

TEST(RingArray, SetReplacesAnElement) {
  RingArray<int> ring = ringOf(3, {1, 2, 3, 4});
  ring.set(1, 30);
  ring.set(Index{0, 1}, 40);
  EXPECT_THAT(ring, ElementsAre(2, 30, 40));
  EXPECT_EQ(ring.count(), 3);
  EXPECT_EQ(ring.startIndex(), (Index{1, 0}));
  EXPECT_EQ(ring.modify(0, [](int& element) { return element *= 10; }), 20);
  EXPECT_EQ(ring.modify(ring.startIndex(), [](int& element) { return ++element; }), 21);
  EXPECT_EQ(ring[0], 21);
}

TEST(RingArray, SetAcceptsAnElementOfTheSameSharedRing) {
  RingArray<std::string> ring = ringOf<std::string>(3, {"first, which lies on the heap", "b", "c"});
  const RingArray<std::string> copy = ring;
  ring.set(2, ring[0]);
  EXPECT_EQ(ring[2], copy[0]);
  EXPECT_EQ(copy[2], "c");
  struct Large {
    std::array<int, 64> numbers{};
  };
  RingArray<Large> large(1);
  large.append({{1, 2}});
  {
    const RingArray<Large> shared = large;
    large.append(large[0]);
  }
  EXPECT_EQ(large[0].numbers[1], 2);
}

TEST(RingArray, FullRingAcceptsItsOwnElementWithoutAssignment) {
  struct Large {
    const int number;
    std::array<int, 64> others{};
  };
  // A reference to the slot would be read after the slot's element was destroyed.
  EXPECT_TRUE((std::same_as<decltype(&RingArray<Large>::append), std::optional<Large> (RingArray<Large>::*)(Large)>));
  RingArray<Large> ring(1);
  ring.append({1, {2}});
  EXPECT_EQ(ring.append(ring[0])->number, 1);
  EXPECT_EQ(ring[0].others[0], 2);
  ring.set(0, ring[0]);
  EXPECT_EQ(ring.prepend(ring[0])->number, 1);
  EXPECT_EQ(ring[0].others[0], 2);
}

TEST(RingArray, ThrowingModifyKeepsItsChangeAndRethrows) {
  RingArray<int> ring = ringOf(2, {1});
  EXPECT_THROW(ring.modify(0,
                           [](int& element) {
                             element = 5;
                             throw std::runtime_error("body");
                           }),
               std::runtime_error);
  EXPECT_EQ(ring[0], 5);
}

TEST(RingArray, IndexesStepAcrossTheWrap) {
  const RingArray<int> ring = ringOf(3, {1, 2, 3, 4});
  EXPECT_EQ(ring.indexAfter({2, 0}), (Index{0, 1}));
  EXPECT_EQ(ring.indexAfter({0, 1}), (Index{1, 1}));
  EXPECT_EQ(ring.indexBefore({0, 1}), (Index{2, 0}));
  EXPECT_EQ(ring.indexBefore({0, 0}), (Index{2, -1}));
  std::vector<int> seen;
  for (Index index = ring.startIndex(); index != ring.endIndex(); index = ring.indexAfter(index)) {
    seen.push_back(ring[index]);
  }
  EXPECT_THAT(seen, ElementsAre(2, 3, 4));
}

TEST(RingArray, OffsettingEqualsSingleSteps) {
  const RingArray<int> ring(4);
  for (std::int64_t distance = -11; distance <= 11; ++distance) {
    Index expected{3, 2};
    for (std::int64_t i = 0; i < distance; ++i) expected = ring.indexAfter(expected);
    for (std::int64_t i = 0; i > distance; --i) expected = ring.indexBefore(expected);
    EXPECT_EQ(ring.indexOffsetBy({3, 2}, distance), expected);
    EXPECT_EQ(ring.distance({3, 2}, expected), distance);
  }
}

TEST(RingArray, OffsettingByZeroNeedsNoSlot) {
  const auto ring = RingArray<int>::empty();
  EXPECT_EQ(ring.indexOffsetBy(ring.startIndex(), ring.count()), ring.endIndex());
  EXPECT_EQ(ring.distance(ring.startIndex(), ring.endIndex()), 0);
}

TEST(RingArray, IndexesAreOrderedByLoopAndThenBySlot) {
  EXPECT_LT((Index{2, 0}), (Index{0, 1}));
  EXPECT_LT((Index{0, 1}), (Index{1, 1}));
  EXPECT_GT((Index{0, 0}), (Index{2, -1}));
  EXPECT_LE((Index{1, 1}), (Index{1, 1}));
  EXPECT_GE((Index{1, 1}), (Index{1, 1}));
  EXPECT_NE((Index{1, 0}), (Index{0, 1}));
  EXPECT_EQ(std::hash<Index>()({1, 2}), std::hash<Index>()({1, 2}));
  EXPECT_NE(std::hash<Index>()({1, 2}), std::hash<Index>()({2, 1}));
  std::unordered_set<Index> set{{0, 0}, {0, 1}, {0, 0}};
  EXPECT_EQ(set.size(), 2u);
}

TEST(RingArray, EqualityComparesSlots) {
  const RingArray<int> straight = ringOf(2, {1, 2});
  const RingArray<int> wrapped = ringOf(2, {0, 1, 2});
  EXPECT_TRUE(std::ranges::equal(straight, wrapped));
  EXPECT_NE(straight, wrapped);
  EXPECT_EQ(straight, ringOf(2, {1, 2}));
  EXPECT_NE(straight, ringOf(3, {1, 2}));
  EXPECT_NE(straight, ringOf(2, {1, 3}));
  EXPECT_NE(ringOf(2, {1}), ringOf(2, {1, 2}));

  RingArray<int> emptied = ringOf(2, {1, 2});
  emptied.removeAll();
  EXPECT_EQ(emptied, RingArray<int>(2));  // After pops from the end, the positions are the initial ones.
  RingArray<int> drained = ringOf(2, {1, 2});
  while (drained.popFirst()) {
  }
  EXPECT_NE(drained, RingArray<int>(2));
  RingArray<int> around = ringOf(2, {1, 2});
  around.shiftWhenFull(2);
  EXPECT_NE(around, straight);  // The same elements in the same slots, one loop later.
}

TEST(RingArray, EqualRingsHashAlike) {
  const std::hash<RingArray<int>> hash;
  EXPECT_EQ(hash(ringOf(2, {1, 2})), hash(ringOf(2, {1, 2})));
  EXPECT_EQ(hash(RingArray<int>::empty()), hash(RingArray<int>(0)));
  std::set<std::size_t> hashes;
  for (const RingArray<int>& ring : {ringOf(2, {1, 2}), ringOf(2, {0, 1, 2}), ringOf(2, {2, 1}), ringOf(2, {1}),
                                     ringOf(3, {1, 2}), RingArray<int>(2), RingArray<int>(3)}) {
    hashes.insert(hash(ring));
  }
  EXPECT_EQ(hashes.size(), 7u);
}

struct Noted {
  int number;
  static inline std::vector<int> hashed;
};

}  // namespace
}  // namespace Tessaly

template <>
struct std::hash<Tessaly::Noted> {
  std::size_t operator()(const Tessaly::Noted& noted) const {
    Tessaly::Noted::hashed.push_back(noted.number);
    return 0;
  }
};

namespace Tessaly {
namespace {

TEST(RingArray, HashingFeedsTheElementsSlotBySlot) {
  RingArray<Noted> ring(4);
  for (const int number : {1, 2, 3, 4, 5}) ring.append({number});
  ring.popFirst();
  static_cast<void>(std::hash<RingArray<Noted>>()(ring));
  EXPECT_THAT(Noted::hashed, ElementsAre(5, 3, 4));
}

template <typename T>
constexpr bool isHashable = requires(const T& value) { std::hash<T>()(value); };

template <typename T>
constexpr bool hasDescription = requires(const T& value) { value.description(); };
template <typename T>
constexpr bool hasDebugDescription = requires(const T& value) { value.debugDescription(); };

TEST(RingArray, ComparesHashesAndDescribesIfItsElementsDo) {
  struct Plain {
    int number;
  };
  static_assert(std::equality_comparable<RingArray<int>> && isHashable<RingArray<int>>);
  static_assert(!std::equality_comparable<RingArray<Plain>> && !isHashable<RingArray<Plain>>);
  static_assert(hasDescription<RingArray<int>> && hasDebugDescription<RingArray<int>>);
  static_assert(!hasDescription<RingArray<Plain>> && !hasDebugDescription<RingArray<Plain>>);
}

TEST(RingArray, DescriptionIgnoresTheGlobalLocale) {
  const Tests::GroupingLocale locale;
  std::ostringstream grouped;
  grouped << 1'234'567;
  ASSERT_EQ(grouped.str(), "1.234.567");
  EXPECT_EQ(ringOf(3, {1'234'567}).description(), "[1234567]");
  EXPECT_EQ(ringOf(3, {1'234'567}).debugDescription(), "[1234567]");
}

TEST(RingArray, DescribesItself) {
  EXPECT_EQ(ringOf(3, {1, 2}).description(), "[1, 2]");
  EXPECT_EQ(ringOf(3, {1, 2, 3, 4}).description(), "[2, 3, 4]");
  EXPECT_EQ(RingArray<int>(3).description(), "[]");
  EXPECT_EQ(RingArray<int>(3).debugDescription(), "[]");
  EXPECT_EQ(ringOf<std::string>(2, {"a", "b\"\n"}).description(), "[a, b\"\n]");
  EXPECT_EQ(ringOf<std::string>(2, {"a", "b\"\n\x1b"}).debugDescription(), R"(["a", "b\"\n\u{1B}"])");
  EXPECT_EQ(ringOf<bool>(2, {true, false}).description(), "[true, false]");
  EXPECT_EQ(ringOf<double>(3, {1, 0.1, 1e300}).description(), "[1.0, 0.1, 1e+300]");
  EXPECT_EQ(ringOf<double>(3, {100000, 0.0001, 0.00001}).description(), "[100000.0, 0.0001, 1e-05]");
  EXPECT_EQ(ringOf<float>(2, {100000, 0.1F}).debugDescription(), "[100000.0, 0.1]");
  EXPECT_EQ(ringOf<std::uint8_t>(1, {65}).description(), "[65]");
  RingArray<RingArray<std::string>> nested(1);
  nested.append(ringOf<std::string>(1, {"a"}));
  EXPECT_EQ(nested.description(), "[[a]]");
  EXPECT_EQ(nested.debugDescription(), "[[\"a\"]]");
  std::ostringstream stream;
  stream << ringOf(1, {8});
  EXPECT_EQ(stream.str(), "[8]");
}

/// A number as three words.
struct Wide {
  Wide(int number) : words{0, 0, number} {}
  operator int() const { return static_cast<int>(words[2]); }
  std::array<std::int64_t, 3> words;
};

TEST(RingArray, SmallTriviallyCopyableElementsAreContiguous) {
  static_assert(std::ranges::contiguous_range<RingArray<double>>);
  static_assert(std::ranges::contiguous_range<const RingArray<std::pair<const char*, int>*>>);
  static_assert(!std::ranges::contiguous_range<RingArray<std::string>>);
  static_assert(!std::ranges::contiguous_range<RingArray<Wide>>);
  RingArray<int> ring = ringOf(3, {1, 2, 3, 4, 5});
  EXPECT_THAT(std::span(ring), ElementsAre(3, 4, 5));
  EXPECT_EQ(std::ranges::data(ring), &*ring.begin());
  for (std::int64_t position = 0; position < 3; ++position) ring.set(position, static_cast<int>(position));
  EXPECT_THAT(std::span(ring), ElementsAre(0, 1, 2));
  for (std::int64_t position = 0; position < 3; ++position) ring.modify(position, [](int& element) { element += 10; });
  EXPECT_THAT(std::span(ring), ElementsAre(10, 11, 12));
  for (std::int64_t position = 0; position < 3; ++position) {
    EXPECT_THROW(ring.modify(position,
                             [](int& element) {
                               element += 10;
                               throw std::runtime_error("too late");
                             }),
                 std::runtime_error);
  }
  EXPECT_THAT(std::span(ring), ElementsAre(20, 21, 22));
  ring.shiftWhenFull(1);
  EXPECT_THAT(std::span(ring), ElementsAre(21, 22, 20));
  const RingArray<int> copy = ring;
  ring.set(0, 9);
  EXPECT_THAT(std::span(copy), ElementsAre(21, 22, 20));
  EXPECT_THAT(std::span(ring), ElementsAre(9, 22, 20));
}

template <typename Element>
void expectARandomAccessRangeOfConstantElements() {
  using Ring = RingArray<Element>;
  static_assert(std::ranges::random_access_range<Ring> && std::ranges::random_access_range<const Ring>);
  static_assert(std::ranges::sized_range<Ring> && std::ranges::common_range<Ring>);
  static_assert(std::same_as<std::ranges::range_reference_t<Ring>, const Element&>);
  const Ring ring = ringOf<Element>(4, {9, 9, 1, 2, 3, 4});
  EXPECT_EQ(std::ranges::size(ring), 4u);
  EXPECT_FALSE(std::ranges::empty(ring));
  EXPECT_EQ(std::accumulate(ring.begin(), ring.end(), 0), 10);
  EXPECT_TRUE(std::ranges::binary_search(ring, Element(3)));
  EXPECT_TRUE(std::ranges::equal(ring | std::views::reverse, std::array<Element, 4>{4, 3, 2, 1}));
  const auto begin = ring.begin();
  EXPECT_EQ(begin[3], 4);
  EXPECT_EQ(*(begin + 2), 3);
  EXPECT_EQ(*(2 + begin), 3);
  EXPECT_EQ(*(ring.end() - 1), 4);
  EXPECT_EQ(ring.end() - begin, 4);
  EXPECT_LT(begin, ring.end());
  EXPECT_EQ(begin + 4, ring.end());
  EXPECT_EQ(ring.end(), begin + 4);
  EXPECT_NE(begin + 3, ring.end());
  auto iterator = ring.end();
  for (const int expected : {4, 3, 2, 1}) EXPECT_EQ(*--iterator, expected);
  EXPECT_EQ(iterator, begin);
  EXPECT_EQ(*iterator++, 1);
  EXPECT_EQ(*iterator--, 2);
  EXPECT_EQ(typename Ring::const_iterator(), typename Ring::const_iterator());
}

TEST(RingArray, IsARandomAccessRangeOfConstantElements) {
  expectARandomAccessRangeOfConstantElements<int>();
  expectARandomAccessRangeOfConstantElements<Wide>();
}

template <typename Element>
void expectIteratorsToAgreeWithPositionsInEveryState() {
  for (std::int64_t capacity = 0; capacity <= 4; ++capacity) {
    for (int start = 0; start < 5; ++start) {
      for (int count = 0; count <= capacity; ++count) {
        RingArray<Element> ring(capacity);
        for (int i = 0; i < start; ++i) {
          ring.append(0);
          ring.popFirst();
        }
        for (int i = 0; i < count; ++i) ring.append(i);
        ASSERT_EQ(ring.end() - ring.begin(), count);
        for (int i = 0; i <= count; ++i) {
          const auto at = ring.begin() + i;
          ASSERT_EQ(at == ring.end(), i == count);
          ASSERT_EQ(ring.end() == at, i == count);
          for (int j = 0; j <= count; ++j) {
            const auto other = ring.begin() + j;
            ASSERT_EQ(at == other, i == j) << capacity << start << count << i << j;
            ASSERT_EQ(at < other, i < j);
            ASSERT_EQ(at - other, i - j);
            ASSERT_EQ(at + (j - i), other);
          }
          if (i < count) {
            ASSERT_EQ(*at, i);
            ASSERT_EQ(std::next(at), ring.begin() + (i + 1));
            ASSERT_EQ(std::prev(std::next(at)), at);
          }
        }
        const auto [first, second] = ring.contiguousRuns();
        ASSERT_EQ(first.size() + second.size(), static_cast<std::size_t>(count));
        ASSERT_TRUE(std::ranges::equal(std::array{first, second} | std::views::join, ring));
      }
    }
  }
}

TEST(RingArray, IteratorsAgreeWithPositionsInEveryState) {
  expectIteratorsToAgreeWithPositionsInEveryState<int>();
  expectIteratorsToAgreeWithPositionsInEveryState<Wide>();
}

TEST(RingArray, CopiesShareTheirSlotsUntilOneIsWritten) {
  RingArray<Witness> ring(3);
  for (const int number : {1, 2, 3}) ring.append(Witness(number));
  Witness::copies = 0;
  RingArray<Witness> copy = ring;
  EXPECT_EQ(Witness::copies, 0);
  EXPECT_EQ(&copy[0], &ring[0]);
  copy.append(Witness(4));
  EXPECT_EQ(Witness::copies, 3);
  EXPECT_THAT(numbersOf(ring), ElementsAre(1, 2, 3));
  EXPECT_THAT(numbersOf(copy), ElementsAre(2, 3, 4));
  ring.append(Witness(5));
  EXPECT_EQ(Witness::copies, 3);  // It is the only holder again.
}

TEST(RingArray, NoChangeAffectsCopies) {
  using Ring = RingArray<std::string>;
  const Ring original = ringOf<std::string>(3, {"0", "1", "2", "3"});
  const std::vector<void (*)(Ring&)> writes{
      [](Ring& ring) { ring.append("x"); },
      [](Ring& ring) { ring.prepend("x"); },
      [](Ring& ring) { ring.popFirst(); },
      [](Ring& ring) { ring.popLast(); },
      [](Ring& ring) { ring.fill("x"); },
      [](Ring& ring) { ring.removeAll(); },
      [](Ring& ring) { ring.removeAllAndSetCapacity(1); },
      [](Ring& ring) { ring.shiftWhenFull(1); },
      [](Ring& ring) { ring.set(0, "x"); },
      [](Ring& ring) { ring.set(ring.startIndex(), "x"); },
      [](Ring& ring) { ring.modify(0, [](std::string& text) { text = "x"; }); },
      [](Ring& ring) { ring = Ring(1); },
  };
  for (const auto& write : writes) {
    Ring copy = original;
    Ring alone = ringOf<std::string>(3, {"0", "1", "2", "3"});
    write(copy);
    write(alone);
    EXPECT_THAT(original, ElementsAre("1", "2", "3"));
    EXPECT_EQ(copy, alone);
  }
}

TEST(RingArray, CopiesMayBeUsedInDifferentThreads) {
  RingArray<std::string> ring = ringOf<std::string>(8, {"a", "b", "c"});
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([copy = ring]() mutable {
      for (int j = 0; j < 1'000; ++j) {
        RingArray<std::string> another = copy;
        another.append(std::to_string(j));
        EXPECT_EQ(copy[0], "a");
        if (j % 3 == 0) copy.modify(1, [](std::string& text) { text = "b"; });
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(ring, ElementsAre("a", "b", "c"));
}

TEST(RingArray, ThreadsMayCopyAnUnchangedOneAtOnce) {
  RingArray<std::string> ring(2);
  for (const char* text : {"a", "b"}) ring.append(text);
  for (int round = 0; round < 100; ++round) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
      threads.emplace_back([&ring = std::as_const(ring)] {
        RingArray<std::string> copy = ring;
        EXPECT_EQ(copy.append("c"), "a");
        EXPECT_EQ(ring[0], "a");
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(Tests::allocationsOf([&] { ring.shiftWhenFull(2); }), 0);
    EXPECT_EQ(Tests::allocationsOf([&] { ring.set(0, "a"); }), 0);  // The ring is the only owner again.
  }
}

TEST(RingArray, ThrowingCopyLeavesTheRingUnchanged) {
  {
    RingArray<Witness> ring(3);
    for (const int number : {1, 2, 3}) ring.append(Witness(number));
    for (int step = 1; step <= 3; ++step) {
      RingArray<Witness> copy = ring;
      Witness::copiesUntilThrow = step;
      EXPECT_THROW(copy.append(Witness(4)), std::runtime_error);
      Witness::copiesUntilThrow = 0;
      EXPECT_EQ(copy, ring);
      EXPECT_EQ(&copy[0], &ring[0]);
    }
  }
  EXPECT_EQ(Witness::living, 0);
}

TEST(RingArray, ThrowingMoveLeavesNoSlotWithoutElement) {
  struct Reluctant {
    explicit Reluctant(int number) : number(number) {}
    Reluctant(const Reluctant& other) : number(other.number) { mayThrow(); }
    Reluctant& operator=(const Reluctant& other) {
      mayThrow();
      number = other.number;
      return *this;
    }
    static void mayThrow() {
      if (*countdown() > 0 && --*countdown() == 0) throw std::runtime_error("reluctant");
    }
    static int* countdown() {
      static int value = 0;
      return &value;
    }
    int number;
  };
  for (int step = 1; step <= 4; ++step) {
    RingArray<Reluctant> ring(2);
    for (const int number : {1, 2}) ring.append(Reluctant(number));
    *Reluctant::countdown() = step;
    try {
      ring.append(Reluctant(3));
    } catch (const std::runtime_error&) {
    }
    *Reluctant::countdown() = 0;
    EXPECT_EQ(ring.count(), 2);
    EXPECT_EQ(std::ranges::distance(ring), 2);
    EXPECT_NE(ring.append(Reluctant(4)), std::nullopt);
  }
}

TEST(RingArray, HoldsElementsThatCanOnlyBeMoved) {
  RingArray<std::unique_ptr<int>> ring(2);
  static_assert(!std::copy_constructible<decltype(ring)> && std::movable<decltype(ring)>);
  ring.append(std::make_unique<int>(1));
  ring.append(std::make_unique<int>(2));
  EXPECT_EQ(**ring.append(std::make_unique<int>(3)), 1);
  EXPECT_EQ(**ring.prepend(std::make_unique<int>(0)), 3);
  EXPECT_EQ(*ring[0], 0);
  ring.set(0, std::make_unique<int>(7));
  EXPECT_EQ(**ring.popFirst(), 7);
  auto moved = std::move(ring);
  EXPECT_EQ(**moved.popLast(), 2);
  EXPECT_EQ(ring.maxCapacity(), 0);  // NOLINT: a moved-from ring has no slots.
}

TEST(RingArray, HoldsElementsOfAnySizeAndAlignment) {
  struct alignas(256) Aligned {
    int number;
  };
  RingArray<Aligned> aligned(3);
  for (int i = 0; i < 5; ++i) aligned.append({i});
  for (const Aligned& element : aligned) EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&element) % 256, 0u);
  EXPECT_EQ(aligned[0].number, 2);

  RingArray<char> bytes(3);
  for (const char byte : {'a', 'b', 'c', 'd'}) bytes.append(byte);
  EXPECT_THAT(bytes, ElementsAre('b', 'c', 'd'));

  struct Page {
    std::array<std::uint64_t, 1'024> words;
  };
  RingArray<Page> pages(2);
  for (std::uint64_t i = 0; i < 3; ++i) pages.append({{i}});
  EXPECT_EQ(pages.append({{3}})->words[0], 1u);
  EXPECT_EQ(pages[1].words[0], 3u);

  struct Constant {
    const int number;
  };
  RingArray<Constant> constants(1);
  constants.append({1});
  EXPECT_EQ(constants.append({2})->number, 1);
  EXPECT_EQ(constants[0].number, 2);
}

TEST(RingArray, RemovedElementsAreDestroyedAtOnce) {
  RingArray<std::shared_ptr<int>> ring(2);
  auto value = std::make_shared<int>(1);
  ring.append(value);
  ring.append(value);
  EXPECT_EQ(value.use_count(), 3);
  ring.popFirst();
  EXPECT_EQ(value.use_count(), 2);
  ring.removeAll();
  EXPECT_EQ(value.use_count(), 1);
  ring.append(value);
  ring.removeAllAndSetCapacity(2);
  EXPECT_EQ(value.use_count(), 1);
}

TEST(RingArray, RemovingAllOfASharedRingCopiesNothing) {
  RingArray<Witness> ring(2);
  ring.append(Witness(1));
  RingArray<Witness> copy = ring;
  Witness::copies = 0;
  copy.removeAll();
  EXPECT_EQ(Witness::copies, 0);
  EXPECT_TRUE(copy.isEmpty());
  EXPECT_EQ(ring.count(), 1);
}

TEST(RingArray, AllocatesOnlyWhenItIsMade) {
  RingArray<std::int64_t> ring(100);
  EXPECT_EQ(Tests::allocationsOf([&] {
              for (int i = 0; i < 1'000; ++i) {
                ring.append(i);
                ring.prepend(i);
                if (i % 3 == 0) ring.popFirst();
                if (i % 5 == 0) ring.popLast();
                if (!ring.isEmpty()) ring.set(0, i);
              }
              ring.fill(1);
              ring.shiftWhenFull(3);
              ring.removeAll();
            }),
            0);
}

TEST(RingArray, TooManySlotsThrow) {
  EXPECT_THROW(static_cast<void>(RingArray<std::int64_t>(most)), std::bad_alloc);
  RingArray<int> ring = ringOf(2, {1});
  EXPECT_THROW(ring.removeAllAndSetCapacity(most), std::bad_alloc);
  EXPECT_THAT(ring, ElementsAre(1));
}

TEST(RingArrayDeathTest, ANegativeCapacityStopsTheProcess) {
  EXPECT_STOPS(RingArray<int>(-1), negativeCapacity);
  EXPECT_STOPS(RingArray<int>{least}, negativeCapacity);
  EXPECT_STOPS(RingArray<int>(3).removeAllAndSetCapacity(-1), negativeCapacity);
}

TEST(RingArrayDeathTest, ShiftingARingThatIsNotFullStopsTheProcess) {
  EXPECT_STOPS(ringOf(3, {1, 2}).shiftWhenFull(1), notFull);
  EXPECT_STOPS(ringOf(3, {1, 2}).shiftWhenFull(0), notFull);
  EXPECT_STOPS(RingArray<int>(1).shiftWhenFull(-1), notFull);
}

TEST(RingArrayDeathTest, APositionOutsideStopsTheProcess) {
  RingArray<int> ring = ringOf(3, {1, 2, 3, 4});
  EXPECT_EQ(ring[2], 4);
  EXPECT_STOPS(static_cast<void>(ring[3]), outOfRange);
  EXPECT_STOPS(static_cast<void>(ring[-1]), outOfRange);
  EXPECT_STOPS(static_cast<void>(ring[6]), outOfRange);
  EXPECT_STOPS(ring.set(3, 0), outOfRange);
  EXPECT_STOPS(ring.modify(3, [](int&) {}), outOfRange);
  EXPECT_STOPS(static_cast<void>(ring[most]), overflow);
  EXPECT_STOPS(static_cast<void>(RingArray<int>(3)[0]), outOfRange);
  EXPECT_STOPS(static_cast<void>(RingArray<int>::empty()[0]), outOfRange);
}

TEST(RingArrayDeathTest, AnIndexOutsideStopsTheProcess) {
  RingArray<int> ring = ringOf(3, {1, 2, 3, 4});  // From (1, 0) to (1, 1).
  EXPECT_STOPS(static_cast<void>(ring[Index{0, 0}]), outOfRange);
  EXPECT_STOPS(static_cast<void>(ring[Index{1, 1}]), outOfRange);
  EXPECT_STOPS(static_cast<void>(ring[Index{1, -1}]), outOfRange);
  EXPECT_STOPS(ring.set(ring.endIndex(), 0), outOfRange);
  // The index is ordered between the ends, but has no slot.
  EXPECT_STOPS(static_cast<void>(ring[Index{3, 0}]), outOfRange);
  EXPECT_STOPS(static_cast<void>(ring[Index{-1, 1}]), outOfRange);
  EXPECT_STOPS(static_cast<void>(ring.indexOffsetBy({3, 0}, 1)), outOfRange);
  EXPECT_STOPS(static_cast<void>(RingArray<int>::empty().indexOffsetBy({0, 0}, 1)), outOfRange);
}

TEST(RingArrayDeathTest, AnOverflowStopsTheProcess) {
  RingArray<int> ring = ringOf(1, {1});
  EXPECT_STOPS(static_cast<void>(ring.indexAfter({0, most})), overflow);
  EXPECT_STOPS(static_cast<void>(ring.indexAfter({most, 0})), overflow);
  EXPECT_STOPS(static_cast<void>(ring.indexBefore({0, least})), overflow);
  EXPECT_STOPS(static_cast<void>(ring.indexBefore({least, 0})), overflow);
  EXPECT_STOPS(static_cast<void>(ring.indexOffsetBy({0, 1}, most)), overflow);
  EXPECT_STOPS(static_cast<void>(ring.distance({0, least}, {0, 1})), overflow);
  EXPECT_STOPS(ring.shiftWhenFull(least), overflow);
  EXPECT_STOPS(ring.shiftWhenFull(most), overflow);  // The end is one loop ahead.
  ring.shiftWhenFull(most - 1);
  EXPECT_STOPS(ring.append(2), overflow);
  ring.shiftWhenFull(-most);
  ring.shiftWhenFull(-most);
  EXPECT_STOPS(
      {
        ring.prepend(2);
        ring.prepend(3);
      },
      overflow);
}

TEST(RingArrayDeathTest, IteratorOutsideItsRingStopsTheProcess) {
  constexpr auto left = "Tessaly/RingArray:[0-9]+: Fatal error: An iterator left its ring array\n";
  const RingArray<Wide> ring = ringOf<Wide>(3, {1, 2, 3, 4});
  EXPECT_STOPS(static_cast<void>(ring.begin() + 4), left);
  EXPECT_STOPS(static_cast<void>(ring.begin() + most), left);
  EXPECT_STOPS(static_cast<void>(ring.begin() - most), left);
  EXPECT_STOPS(static_cast<void>(ring.begin() - least), left);
}

// Compares a ring with its model after random operations.
template <typename Element, typename MakeElement>
void expectWhatTheRulesSayOverAMillionRandomOperations(MakeElement makeElement) {
  std::mt19937_64 random(20);
  const auto upTo = [&](std::int64_t limit) { return static_cast<std::int64_t>(random() % (limit + 1)); };
  std::int64_t operations = 0;
  for (int round = 0; round < 250; ++round) {
    const std::int64_t capacity = round < 240 ? upTo(5) : 50;
    RingArray<Element> ring(capacity);
    Tests::RingModel<Element> model(capacity);
    RingArray<Element> copy = ring;
    Tests::RingModel<Element> modelOfCopy = model;
    for (int step = 0; step < 4'100; ++step, ++operations) {
      const Element element = makeElement(step);
      switch (upTo(19)) {
        default:
          ASSERT_EQ(ring.append(element), model.append(element));
          break;
        case 6:
        case 7:
        case 8:
          ASSERT_EQ(ring.prepend(element), model.prepend(element));
          break;
        case 9:
          ASSERT_EQ(ring.popFirst(), model.popFirst());
          break;
        case 10:
          ASSERT_EQ(ring.popLast(), model.popLast());
          break;
        case 11:
          if (upTo(20) == 0) {
            ring.fill(element);
            model.fill(element);
          }
          break;
        case 12:
          if (upTo(20) == 0) {
            ring.removeAll();
            model.removeAll();
          }
          break;
        case 13:
          if (upTo(50) == 0) {
            const std::int64_t newCapacity = upTo(6);
            ring.removeAllAndSetCapacity(newCapacity);
            model.removeAllAndSetCapacity(newCapacity);
          }
          break;
        case 14:
          if (model.mayShift()) {
            const std::int64_t offset = upTo(20) - 10;
            ring.shiftWhenFull(offset);
            model.shiftWhenFull(offset);
          }
          break;
        case 15: {
          const std::int64_t position = upTo(7) - 1;
          if (auto* content = model.at(position)) {
            ASSERT_EQ(ring[position], **content);
            ring.set(position, element);
            *content = element;
          }
          break;
        }
        case 16: {
          const Index index{upTo(7) - 1, model.startIndex.loopIndex + upTo(2) - 1};
          if (auto* content = model.at(index)) {
            ASSERT_EQ(ring[index], **content);
            ring.modify(index, [&](Element& changed) { changed += element; });
            **content += element;
          }
          break;
        }
        case 17:
          copy = ring;
          modelOfCopy = model;
          break;
        case 18:
          std::swap(ring, copy);
          std::swap(model, modelOfCopy);
          break;
        case 19:
          ASSERT_EQ(ring == copy, model == modelOfCopy);
          if (ring == copy) {
            ASSERT_EQ(std::hash<RingArray<Element>>()(ring), std::hash<RingArray<Element>>()(copy));
          }
          break;
      }
      ASSERT_STREQ(difference(ring, model), "") << round << "." << step;
    }
    ASSERT_STREQ(difference(copy, modelOfCopy), "");
  }
  EXPECT_GE(operations, 1'000'000);
}

TEST(RingArray, MillionRandomOperationsFollowTheModel) {
  expectWhatTheRulesSayOverAMillionRandomOperations<std::string>([](int step) { return std::to_string(step); });
}

TEST(RingArray, MillionRandomOperationsOnSmallElementsFollowTheModel) {
  expectWhatTheRulesSayOverAMillionRandomOperations<std::int64_t>([](int step) { return std::int64_t{step}; });
}

}  // namespace
}  // namespace Tessaly
