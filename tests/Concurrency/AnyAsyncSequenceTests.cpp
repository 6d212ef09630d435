// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "Sequences.hpp"
#include "Tessaly/Concurrency/AnyAsyncSequence.hpp"
#include "Tessaly/Concurrency/AsyncSequence+Extensions.hpp"

namespace Tessaly {
namespace {

using Tests::answersOf;

std::string follow(AnyAsyncSequence<int> auto numbers) {
  auto iterator = numbers.makeAsyncIterator();
  return answersOf(iterator);
}

template <typename Sequence>
constexpr bool canBeFollowed = requires(Sequence sequence) { follow(sequence); };

TEST(AnyAsyncSequence, NamesASequenceByItsElement) {
  EXPECT_EQ(follow(eraseToAnyAsyncSequence(Tests::streamOf({1, 2}))), "1 2 end");
  EXPECT_EQ(follow(eraseToAnyAsyncSequence(Tests::failingStreamOf({1}, "broken"))), "1 error: broken");
}

TEST(AnyAsyncSequence, OnlyAdoptingTypesQualify) {
  using Erased = decltype(eraseToAnyAsyncSequence(Tests::streamOf({1})));
  static_assert(std::same_as<Erased, AnyAsyncSequence_<AsyncStream<int>>>);
  static_assert(AnyAsyncSequence<Erased> && AnyAsyncSequence<Erased, int> && !AnyAsyncSequence<Erased, long>);
  static_assert(!AnyAsyncSequence<AsyncStream<int>>);
  static_assert(AsyncSequence<Erased> && std::same_as<Erased::Failure, Never>);
  static_assert(canBeFollowed<Erased> && !canBeFollowed<AsyncStream<int>>);
}

TEST(AnyAsyncSequence, ItsIteratorIsThatOfTheSequence) {
  using Erased = decltype(eraseToAnyAsyncSequence(Tests::streamOf({1})));
  static_assert(std::same_as<AsyncIterator<Erased>, AsyncStream<int>::AsyncIterator>);
  const auto erased = eraseToAnyAsyncSequence(eraseToAnyAsyncSequence(Tests::streamOf({1, 2, 3})));
  EXPECT_EQ(Tests::resultOf(first(erased)), 1);
  EXPECT_EQ(Tests::resultOf(first(erased)), 2);
}

}  // namespace
}  // namespace Tessaly
