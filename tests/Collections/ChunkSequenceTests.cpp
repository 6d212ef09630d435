// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <deque>
#include <limits>
#include <ranges>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Collections/ChunkSequence.hpp"
#include "Tessaly/Collections/RingArray.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::KilledBySignal;
using testing::MatchesRegex;

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();

template <typename Chunks>
std::vector<std::vector<int>> contentsOf(Chunks&& chunks) {
  std::vector<std::vector<int>> all;
  for (auto chunk : chunks) all.emplace_back(chunk.begin(), chunk.end());
  return all;
}

TEST(ChunkSequence, LastChunkMayBeShorter) {
  const std::vector numbers{1, 2, 3, 4, 5};
  EXPECT_THAT(contentsOf(chunked(numbers, 2)), ElementsAre(ElementsAre(1, 2), ElementsAre(3, 4), ElementsAre(5)));
  EXPECT_THAT(contentsOf(chunked(numbers, 1)).size(), 5u);
  EXPECT_THAT(contentsOf(chunked(numbers, 5)), ElementsAre(ElementsAre(1, 2, 3, 4, 5)));
}

TEST(ChunkSequence, GivesItsBaseAndChunkSize) {
  const std::vector numbers{1, 2, 3};
  const auto chunks = chunked(numbers, 2);
  EXPECT_EQ(chunks.chunkSize(), 2);
  EXPECT_TRUE(std::ranges::equal(chunks.base(), numbers));
}

TEST(ChunkSequence, EmptyRangeHasNoChunks) {
  const std::vector<int> none;
  for (const std::int64_t size : {std::int64_t{-1}, std::int64_t{0}, std::int64_t{1}, most}) {
    EXPECT_THAT(contentsOf(chunked(none, size)), IsEmpty());
  }
}

TEST(ChunkSequence, SizeLargerThanTheRangeGivesOneChunk) {
  const std::vector numbers{1, 2, 3};
  EXPECT_THAT(contentsOf(chunked(numbers, 4)), ElementsAre(ElementsAre(1, 2, 3)));
  EXPECT_THAT(contentsOf(chunked(numbers, most)), ElementsAre(ElementsAre(1, 2, 3)));
}

TEST(ChunkSequence, SizeZeroGivesEndlessEmptyChunks) {
  const std::vector numbers{1, 2, 3};
  auto chunks = chunked(numbers, 0).makeIterator();
  for (int i = 0; i < 1'000; ++i) {
    auto chunk = chunks.next();
    ASSERT_TRUE(chunk.has_value());
    EXPECT_TRUE(chunk->empty());
    EXPECT_EQ(chunk->begin(), numbers.begin());
  }
}

TEST(ChunkSequenceDeathTest, NegativeSizeStopsTheProcessAtTheFirstChunk) {
  const std::vector numbers{1, 2, 3};
  auto chunks = chunked(numbers, -1).makeIterator();
  EXPECT_EXIT(chunks.next(), KilledBySignal(SIGABRT),
              MatchesRegex("Tessaly/ChunkSequence:[0-9]+: Fatal error: A chunk must not end before its start\n"));
  auto others = chunked(numbers, std::numeric_limits<std::int64_t>::min()).makeIterator();
  EXPECT_EXIT(others.next(), KilledBySignal(SIGABRT), "A chunk must not end before its start");
}

TEST(ChunkSequence, StaysExhausted) {
  const std::vector numbers{1};
  auto chunks = chunked(numbers, 2).makeIterator();
  EXPECT_TRUE(chunks.next().has_value());
  EXPECT_FALSE(chunks.next().has_value());
  EXPECT_FALSE(chunks.next().has_value());
}

TEST(ChunkSequence, ChunksAreViewsOfTheBase) {
  std::vector numbers{1, 2, 3};
  auto chunk = chunked(numbers, 2).makeIterator().next();  // The base is an lvalue and stays.
  ASSERT_TRUE(chunk.has_value());
  EXPECT_EQ(&(*chunk)[0], numbers.data());
  static_assert(std::ranges::view<std::remove_cvref_t<decltype(*chunk)>>);
}

/// A function object that gives its own address.
struct OwnAddress {
  const OwnAddress* operator()(int) const { return this; }
};

TEST(ChunkSequence, ChunksOfAViewReferToTheSequencesView) {
  const std::vector numbers{1, 2, 3};
  const auto chunks = chunked(numbers | std::views::transform(OwnAddress()), 2);
  auto iterator = chunks.makeIterator();
  auto moved = std::move(iterator);
  const auto chunk = moved.next();
  ASSERT_TRUE(chunk.has_value());
  EXPECT_EQ((*chunk)[0], chunks.base()[0]);
}

template <typename Chunks>
concept GivesIteratorOfTemporary = requires { std::declval<Chunks>().makeIterator(); };

TEST(ChunkSequence, OnlyBorrowedViewsGiveIteratorsOfATemporarySequence) {
  const std::vector numbers{1, 2, 3};
  static_assert(GivesIteratorOfTemporary<decltype(chunked(numbers, 2))>);
  static_assert(GivesIteratorOfTemporary<decltype(chunked(std::span(numbers), 2))>);
  static_assert(!GivesIteratorOfTemporary<decltype(chunked(numbers | std::views::transform(OwnAddress()), 2))>);
}

TEST(ChunkSequence, ChunksOfAViewOutliveTheIterator) {
  const std::vector numbers{1, 2, 3};
  const auto chunks = chunked(numbers | std::views::transform([factor = 10](int n) { return factor * n; }), 2);
  const auto chunk = chunks.makeIterator().next();
  ASSERT_TRUE(chunk.has_value());
  EXPECT_THAT(std::vector(chunk->begin(), chunk->end()), ElementsAre(10, 20));
  EXPECT_THAT(contentsOf(chunks), ElementsAre(ElementsAre(10, 20), ElementsAre(30)));
}

TEST(ChunkSequence, OwnsAnRvalueRange) {
  auto chunks = chunked(std::vector{1, 2, 3}, 2);
  EXPECT_THAT(contentsOf(chunks), ElementsAre(ElementsAre(1, 2), ElementsAre(3)));
  EXPECT_THAT(contentsOf(chunks), ElementsAre(ElementsAre(1, 2), ElementsAre(3)));  // Each pass begins anew.
  std::vector<std::vector<int>> all;
  for (auto chunk : chunked(std::vector{1, 2, 3}, 2)) all.emplace_back(chunk.begin(), chunk.end());
  EXPECT_THAT(all, ElementsAre(ElementsAre(1, 2), ElementsAre(3)));
}

TEST(ChunkSequence, EachIteratorBeginsAtTheStart) {
  const ChunkSequence chunks(2, std::vector{1, 2, 3});
  auto first = chunks.makeIterator();
  first.next();
  auto second = chunks.makeIterator();
  EXPECT_EQ((*second.next())[0], 1);
  EXPECT_EQ((*first.next())[0], 3);
  const std::vector numbers{1, 2, 3};
  ChunkSequence<std::vector<int>>::Iterator own(2, numbers);
  EXPECT_EQ(own.next()->size(), 2u);
}

TEST(ChunkSequence, TakesAnyRandomAccessRange) {
  RingArray<int> ring(3);
  for (const int number : {1, 2, 3, 4}) ring.append(number);
  EXPECT_THAT(contentsOf(chunked(ring, 2)), ElementsAre(ElementsAre(2, 3), ElementsAre(4)));
  EXPECT_THAT(contentsOf(chunked(std::deque{1, 2, 3}, 2)), ElementsAre(ElementsAre(1, 2), ElementsAre(3)));
  EXPECT_THAT(contentsOf(chunked(std::views::iota(0, 3), 2)), ElementsAre(ElementsAre(0, 1), ElementsAre(2)));
  const std::array numbers{1, 2, 3};
  EXPECT_THAT(contentsOf(chunked(std::span(numbers), 2)), ElementsAre(ElementsAre(1, 2), ElementsAre(3)));
  const int array[] = {1, 2, 3};
  EXPECT_THAT(contentsOf(chunked(array, 2)), ElementsAre(ElementsAre(1, 2), ElementsAre(3)));
  EXPECT_THAT(contentsOf(RandomAccessCollection::chunked(numbers, 2)).size(), 2u);
  auto texts = chunked(std::string_view("abcde"), 3).makeIterator();
  EXPECT_TRUE(std::ranges::equal(*texts.next(), std::string_view("abc")));
}

TEST(ChunkSequence, TakesARangeWithoutEnd) {
  auto chunks = chunked(std::views::iota(0), 3).makeIterator();
  EXPECT_TRUE(std::ranges::equal(*chunks.next(), std::array{0, 1, 2}));
  EXPECT_TRUE(std::ranges::equal(*chunks.next(), std::array{3, 4, 5}));
}

TEST(ChunkSequence, SplitsARangeOf64BitIntegers) {
  std::vector<std::int64_t> firsts;
  for (auto chunk : chunked(std::views::iota(std::int64_t{0}, std::int64_t{7}), 3)) firsts.push_back(*chunk.begin());
  EXPECT_THAT(firsts, ElementsAre(0, 3, 6));
}

TEST(ChunkSequence, WorksWithTheStandardsAlgorithms) {
  const std::vector numbers{1, 2, 3, 4, 5};
  static_assert(std::ranges::input_range<decltype(chunked(numbers, 2))>);
  EXPECT_EQ(std::ranges::distance(chunked(numbers, 2)), 3);
  EXPECT_EQ(std::ranges::count_if(chunked(numbers, 2), [](auto chunk) { return chunk.size() == 2; }), 2);
  std::vector<std::size_t> sizes;
  for (auto chunk : chunked(numbers, 2) | std::views::take(2)) sizes.push_back(chunk.size());
  EXPECT_THAT(sizes, ElementsAre(2u, 2u));
}

TEST(ChunkSequence, EverySizeGivesEachElementOnce) {
  for (int count = 0; count < 20; ++count) {
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::ranges::generate(numbers, [i = 0]() mutable { return i++; });
    for (int size = 1; size < 22; ++size) {
      std::vector<int> joined;
      for (auto chunk : chunked(numbers, size)) {
        EXPECT_TRUE(std::ssize(chunk) == size || joined.size() + chunk.size() == numbers.size());
        joined.insert(joined.end(), chunk.begin(), chunk.end());
      }
      EXPECT_EQ(joined, numbers);
    }
  }
}

}  // namespace
}  // namespace Tessaly
