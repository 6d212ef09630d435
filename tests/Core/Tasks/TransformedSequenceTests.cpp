// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <concepts>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/AsyncCompactMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncFlatMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncMapSequence.hpp"
#include "Tessaly/Core/Tasks/detail/TransformedSequence.hpp"
#include "tests/Core/Tasks/Streams.hpp"

// What all sequences have in common that pass a base's elements through a transform.

namespace Tessaly {
namespace {

using Tests::answerOf;
using Tests::answersOf;
using Tests::failingStreamOf;
using Tests::Request;
using Tests::settle;
using Tests::start;
using Tests::streamOf;

/// Passes every element as it is, by one of the transformations: `make` and `makeThrowing` take a base and a function
/// to be called with each element.
struct ByMap {
  static auto make(auto base, auto see) {
    return map(std::move(base), [see](int element) mutable { return see(element), element; });
  }
  static auto makeAsync(auto base, auto see) {
    return map(std::move(base), [see](int element) mutable -> Async<int> {
      co_await Task<>::yield();
      co_return see(element), element;
    });
  }
  static auto makeThrowing(auto base, auto see) {
    return throwingMap(std::move(base), [see](int element) mutable { return see(element), element; });
  }
  static auto makeThrowingAsync(auto base, auto see) {
    return throwingMap(std::move(base), [see](int element) mutable -> Async<int> {
      co_await Task<>::yield();
      co_return see(element), element;
    });
  }
};

struct ByCompactMap {
  static auto make(auto base, auto see) {
    return compactMap(std::move(base), [see](int element) mutable { return see(element), std::optional(element); });
  }
  static auto makeAsync(auto base, auto see) {
    return compactMap(std::move(base), [see](int element) mutable -> Async<std::optional<int>> {
      co_await Task<>::yield();
      co_return see(element), element;
    });
  }
  static auto makeThrowing(auto base, auto see) {
    return throwingCompactMap(std::move(base),
                              [see](int element) mutable { return see(element), std::optional(element); });
  }
  static auto makeThrowingAsync(auto base, auto see) {
    return throwingCompactMap(std::move(base), [see](int element) mutable -> Async<std::optional<int>> {
      co_await Task<>::yield();
      co_return see(element), element;
    });
  }
};

struct ByFlatMap {
  static auto make(auto base, auto see) {
    return flatMap(std::move(base), [see](int element) mutable { return see(element), streamOf({element}); });
  }
  static auto makeAsync(auto base, auto see) {
    return flatMap(std::move(base), [see](int element) mutable -> Async<AsyncStream<int>> {
      co_await Task<>::yield();
      co_return see(element), streamOf({element});
    });
  }
  static auto makeThrowing(auto base, auto see) {
    return throwingFlatMap(std::move(base), [see](int element) mutable { return see(element), streamOf({element}); });
  }
  static auto makeThrowingAsync(auto base, auto see) {
    return throwingFlatMap(std::move(base), [see](int element) mutable -> Async<AsyncStream<int>> {
      co_await Task<>::yield();
      co_return see(element), streamOf({element});
    });
  }
};

template <typename Way>
class TransformedSequences : public testing::Test {};

using Ways = testing::Types<ByMap, ByCompactMap, ByFlatMap>;
struct WayNames {
  template <typename Way>
  static std::string GetName(int) {
    return std::same_as<Way, ByMap> ? "Map" : std::same_as<Way, ByCompactMap> ? "CompactMap" : "FlatMap";
  }
};
TYPED_TEST_SUITE(TransformedSequences, Ways, WayNames);

const auto ignore = [](int) {};
const auto refuseTwo = [](int element) {
  if (element == 2) throw std::runtime_error("two");
};

TYPED_TEST(TransformedSequences, PassEveryElementAndThenGiveTheEndForEver) {
  auto plain = TypeParam::make(streamOf({1, 2, 3}), ignore).makeAsyncIterator();
  EXPECT_EQ(answersOf(plain), "1 2 3 end");
  EXPECT_EQ(answersOf(plain), "end");
  auto async = TypeParam::makeAsync(streamOf({1, 2, 3}), ignore).makeAsyncIterator();
  EXPECT_EQ(answersOf(async), "1 2 3 end");
  EXPECT_EQ(answersOf(async), "end");
}

TYPED_TEST(TransformedSequences, FailAsTheirBaseDoesUnlessTheTransformMayThrow) {
  const auto failure = []<typename Sequence>(const Sequence&) { return std::optional<typename Sequence::Failure>(); };
  static_assert(std::same_as<decltype(failure(TypeParam::make(streamOf({1}), ignore))), std::optional<Never>>);
  static_assert(std::same_as<decltype(failure(TypeParam::make(failingStreamOf({1}, ""), ignore))),
                             std::optional<std::exception_ptr>>);
  static_assert(std::same_as<decltype(failure(TypeParam::makeThrowing(streamOf({1}), ignore))),
                             std::optional<std::exception_ptr>>);
  auto iterator = TypeParam::make(failingStreamOf({1, 2}, "torn"), ignore).makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "1 2 error: torn");
  EXPECT_EQ(answersOf(iterator), "end");
}

TYPED_TEST(TransformedSequences, HaveEndedOnceTheTransformHasThrown) {
  auto plain = TypeParam::makeThrowing(streamOf({1, 2, 3}), refuseTwo).makeAsyncIterator();
  EXPECT_EQ(answersOf(plain), "1 error: two");
  EXPECT_EQ(answersOf(plain), "end");
  auto async = TypeParam::makeThrowingAsync(streamOf({1, 2, 3}), refuseTwo).makeAsyncIterator();
  EXPECT_EQ(answersOf(async), "1 error: two");
  EXPECT_EQ(answersOf(async), "end");
}

TYPED_TEST(TransformedSequences, FetchAnElementOnlyWhenAskedTo) {
  int seen = 0;
  auto iterator = TypeParam::make(streamOf({1, 2, 3}), [&](int) { ++seen; }).makeAsyncIterator();
  EXPECT_EQ(seen, 0);
  EXPECT_EQ(answerOf(iterator), "1");
  EXPECT_EQ(seen, 1);
}

TYPED_TEST(TransformedSequences, RunTheTransformInTheGivenIsolationAndComeBack) {
  const Isolation isolation = Isolation::serial();
  std::vector<Isolation> seen;
  const auto sequence = TypeParam::makeAsync(streamOf({1, 2}), [&](int) { seen.push_back(Isolation::current()); });
  std::vector<int> elements;
  start([&]() -> Async<void> {
    auto iterator = sequence.makeAsyncIterator();
    while (const auto element = co_await iterator.next(isolation)) {
      elements.push_back(*element);
      EXPECT_EQ(Isolation::current(), Isolation());
    }
  });
  settle();
  EXPECT_EQ(elements, (std::vector{1, 2}));
  EXPECT_EQ(seen, std::vector(2, isolation));
}

TYPED_TEST(TransformedSequences, ComeBackFromTheGivenIsolationWithAnError) {
  const Isolation isolation = Isolation::serial();
  std::string caught;
  start([&]() -> Async<void> {
    auto iterator = TypeParam::makeThrowing(streamOf({2}), refuseTwo).makeAsyncIterator();
    try {
      co_await iterator.next(isolation);
    } catch (const std::runtime_error& error) {
      caught = error.what();
    }
    EXPECT_EQ(Isolation::current(), Isolation());
  });
  settle();
  EXPECT_EQ(caught, "two");
}

TYPED_TEST(TransformedSequences, EndTheirBaseWhenTheConsumerIsCancelled) {
  auto [stream, continuation] = AsyncStream<int>::makeStream();
  int cancellations = 0;
  continuation.setOnTermination([&](const StreamTermination&) { ++cancellations; });
  Request consumer(TypeParam::make(stream, ignore).makeAsyncIterator());
  EXPECT_EQ(consumer.answer(), "waiting");
  consumer.cancel();
  EXPECT_EQ(cancellations, 1);
  EXPECT_EQ(consumer.answer(), "end");
}

TYPED_TEST(TransformedSequences, KeepTheirBaseOpenAsLongAsOneIteratorIsLeft) {
  auto made = AsyncStream<int>::makeStream();
  int cancellations = 0;
  made.continuation.setOnTermination([&](const StreamTermination&) { ++cancellations; });
  std::optional sequence = TypeParam::make(std::move(made.stream), ignore);
  std::optional iterator = sequence->makeAsyncIterator();
  sequence.reset();
  made.continuation.yield(1);
  EXPECT_EQ(answerOf(*iterator), "1");
  EXPECT_EQ(cancellations, 0);
  iterator.reset();
  EXPECT_EQ(cancellations, 1);
}

TYPED_TEST(TransformedSequences, GiveEachIteratorATransformOfItsOwn) {
  const auto sequence = TypeParam::make(streamOf({1, 2, 3, 4}), [count = 0](int) mutable { EXPECT_LE(++count, 2); });
  auto first = sequence.makeAsyncIterator();
  auto second = sequence.makeAsyncIterator();
  EXPECT_EQ(answerOf(first), "1");
  EXPECT_EQ(answerOf(first), "2");
  EXPECT_EQ(answerOf(second), "3");
  EXPECT_EQ(answerOf(second), "4");
}

}  // namespace
}  // namespace Tessaly
