// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <exception>
#include <optional>
#include <string>

#include "Sequences.hpp"
#include "Tessaly/Concurrency/TypedAsyncSequence.hpp"

namespace Tessaly {
namespace {

using Stream = AsyncStream<int>;
using ThrowingStream = AsyncThrowingStream<int>;
using Transform = std::string (*)(int);
using CompactTransform = std::optional<std::string> (*)(int);
using FlatTransform = Stream (*)(int);

template <typename Sequence, typename Element, typename Failure>
constexpr bool isTyped =
    TypedAsyncSequence<Sequence> && TypedAsyncSequence<Sequence, Element, Failure> &&
    !TypedAsyncSequence<Sequence, Sequence, Failure> && !TypedAsyncSequence<Sequence, Element, Sequence>;

TEST(TypedAsyncSequence, IsAdoptedByThePlatformsSequences) {
  static_assert(isTyped<Stream, int, Never>);
  static_assert(isTyped<ThrowingStream, int, std::exception_ptr>);
  static_assert(isTyped<AsyncMapSequence<Stream, Transform>, std::string, Never>);
  static_assert(isTyped<AsyncThrowingMapSequence<Stream, Transform>, std::string, std::exception_ptr>);
  static_assert(isTyped<AsyncCompactMapSequence<Stream, CompactTransform>, std::string, Never>);
  static_assert(isTyped<AsyncThrowingCompactMapSequence<Stream, CompactTransform>, std::string, std::exception_ptr>);
  static_assert(isTyped<AsyncFlatMapSequence<Stream, FlatTransform>, int, Never>);
  static_assert(isTyped<AsyncThrowingFlatMapSequence<Stream, FlatTransform>, int, std::exception_ptr>);
  static_assert(isTyped<NotificationCenter::Notifications, Notification, Never>);
}

struct Silence {
  using Element = int;
  using Failure = Never;
  [[nodiscard]] Stream::AsyncIterator makeAsyncIterator() const { return Tests::streamOf({1}).makeAsyncIterator(); }
};

TEST(TypedAsyncSequence, AdoptionIsExplicit) {
  static_assert(AsyncSequence<Silence> && !TypedAsyncSequence<Silence>);
  static_assert(!TypedAsyncSequence<int>);
}

int sum(TypedAsyncSequence<int, Never> auto numbers) {
  return Tests::resultOf([](auto sequence) -> Async<int> {
    int total = 0;
    auto iterator = sequence.makeAsyncIterator();
    while (auto number = co_await iterator.next()) total += *number;
    co_return total;
  }(numbers));
}

TEST(TypedAsyncSequence, NamesASequenceByElementAndFailure) {
  EXPECT_EQ(sum(Tests::streamOf({1, 2})), 3);
  EXPECT_EQ(sum(map(Tests::streamOf({1, 2}), [](int number) { return number * 2; })), 6);
}

}  // namespace
}  // namespace Tessaly
